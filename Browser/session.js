// SPDX-FileCopyrightText: The Fluvane developers
// SPDX-License-Identifier: GPL-3.0-or-later

// The session that a file needs: the cookies which the browser would send for its links.

import { browser, hostOf } from "./browser.js";

const most = 300;
const mostBytes = 60_000;

const isSameSite = (one, other) => one === other || one.endsWith("." + other) || other.endsWith("." + one);

// A cookie of a partition belongs to the pages of one site.
function isMeant(cookie, hosts) {
  const site = cookie.partitionKey?.topLevelSite;
  return !site || hosts.some((host) => isSameSite(host, hostOf(site)));
}

async function allFor(link, storeId) {
  const wanted = { url: link, ...(storeId && { storeId }) };
  try {
    return await browser.cookies.getAll({ ...wanted, partitionKey: {} });
  } catch {
    return browser.cookies.getAll(wanted); // without partitions
  }
}

const plain = ({ name, value, domain, path, secure, httpOnly, hostOnly, expirationDate }) => ({
  name, value, domain, path, secure, httpOnly, hostOnly,
  ...(Number.isFinite(expirationDate) && { expirationDate }),
});

const length = (cookie) =>
  new TextEncoder().encode(cookie.name + cookie.value + cookie.domain + cookie.path).length;

export async function cookiesFor(links, page, storeId) {
  const hosts = [...links, page].map(hostOf).filter(Boolean);
  const found = new Map();
  let bytes = 0;
  for (const link of links) {
    for (const cookie of (await allFor(link, storeId)).filter((one) => isMeant(one, hosts))) {
      const key = JSON.stringify([cookie.name, cookie.domain, cookie.path]);
      bytes += found.has(key) ? 0 : length(cookie);
      if (bytes <= mostBytes && found.size < most && !found.has(key)) {
        found.set(key, plain(cookie));
      }
    }
  }
  return [...found.values()];
}

// A tab in a private window or a container has a store of its own.
export async function storeOf(tab) {
  if (tab?.cookieStoreId || !tab?.incognito) {
    return tab?.cookieStoreId;
  }
  const stores = await browser.cookies.getAllCookieStores();
  return stores.find((store) => store.tabIds.includes(tab.id))?.id;
}
