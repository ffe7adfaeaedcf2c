// SPDX-FileCopyrightText: The Fluvane developers
// SPDX-License-Identifier: GPL-3.0-or-later

// A download of the browser's, from its beginning until it is Fluvane's or is left alone. Until Fluvane has agreed,
// nothing is done to it.

import { browser, isWeb } from "./browser.js";
import { giveUp } from "./port.js";
import { chainTo } from "./requests.js";
import { cookiesFor } from "./session.js";
import { isWanted } from "./settings.js";
import { answerTo, cancel, decide, promise } from "./verdicts.js";

const secondsToAnswer = 30;
const offers = new Map(); // by the download's number, while Fluvane hasn't answered

const known = (fields) => Object.fromEntries(Object.entries(fields).filter(([, value]) => value || value === 0));
const baseName = (path) => path?.split("/").at(-1).replace(/[\u0000-\u001f\u007f-\u009f]/g, "").slice(0, 250);

async function described(item) {
  const chain = await chainTo(item);
  // A request that wasn't seen to begin may have sent something.
  if (!chain?.isPlain || chain.incognito || !chain.links.every(isWeb)) {
    return null;
  }
  const size = chain.size ?? (item.totalBytes > 0 ? item.totalBytes : undefined);
  return {
    links: chain.links,
    size,
    mime: item.mime || chain.mime,
    name: baseName(item.filename) || baseName(new URL(chain.links.at(-1)).pathname),
    referrer: isWeb(item.referrer) ? item.referrer : undefined,
  };
}

async function made(item, about) {
  const { links, referrer, size, mime, name } = about;
  return {
    type: "offer",
    offer: crypto.randomUUID(),
    by: "browser",
    link: links[0],
    finalLink: links.at(-1),
    userAgent: navigator.userAgent,
    cookies: await cookiesFor([...new Set(links)], referrer, item.cookieStoreId),
    ...known({ referrer, size, mime, name }),
  };
}

// Whether it still is as it was offered: the person may have canceled it meanwhile, and it may be finished.
async function isGoingOn(id) {
  const [item] = await browser.downloads.search({ id });
  return item?.state === "in_progress" || (item?.state === "interrupted" && item.error !== "USER_CANCELED");
}

async function handOver(offer, token, item) {
  await promise(offer, token, { url: item.url, startTime: item.startTime });
  const isGone = (await isGoingOn(item.id)) && (await cancel(item.id));
  await decide(offer, token, isGone);
}

export async function began(item) {
  if (item.state !== "in_progress" || item.incognito || item.byExtensionId || !isWeb(item.url)) {
    return;
  }
  const about = await described(item);
  if (!about || !(await isWanted(about))) {
    return;
  }
  const offer = await made(item, about);
  offers.set(item.id, offer.offer);
  const answer = await answerTo(offer, secondsToAnswer);
  offers.delete(item.id);
  if (answer?.type === "agreed") {
    await handOver(offer.offer, answer.token, item);
  }
}

// Ended before Fluvane has answered: never mind.
export function changed({ id, state }) {
  if (offers.has(id) && state && state.current !== "in_progress") {
    giveUp(offers.get(id));
  }
}
