// SPDX-FileCopyrightText: The Fluvane developers
// SPDX-License-Identifier: GPL-3.0-or-later

// "Download with Fluvane": the person's own choice, so that there is no download of the browser's to replace.

import { browser, isWeb, text } from "./browser.js";
import { cookiesFor, storeOf } from "./session.js";
import { answerTo, decide } from "./verdicts.js";

const secondsToAnswer = 30;
const mostLinks = 1000;
const item = "download";

export function install() {
  browser.contextMenus.removeAll().then(() =>
    browser.contextMenus.create({
      id: item,
      title: text("downloadWithFluvane"),
      contexts: ["link", "image", "video", "audio", "selection"],
    }),
  );
}

// Runs in the page.
function selectedLinks() {
  const selection = getSelection();
  const chosen = [...document.links].filter((link) => selection.containsNode(link, true)).map((link) => link.href);
  return chosen.concat(selection.toString().match(/https?:\/\/[^\s<>"']+/g) ?? []);
}

async function selectionsLinks(info, tab) {
  const target = { tabId: tab.id, frameIds: [info.frameId ?? 0] };
  const [found] = await browser.scripting.executeScript({ target, func: selectedLinks });
  return found?.result ?? [];
}

// All of a selection, also when it is opened on one of its links; else that link or what is shown there.
async function linksOf(info, tab) {
  const one = info.linkUrl ?? info.srcUrl;
  const selected = info.selectionText ? await selectionsLinks(info, tab).catch(() => []) : [];
  return one && !selected.includes(one) ? [one] : selected;
}

async function made(links, info, tab) {
  const page = [info.frameUrl, info.pageUrl, tab?.url].find(isWeb);
  return {
    type: "offer",
    offer: crypto.randomUUID(),
    by: "menu",
    ...(links.length === 1 ? { link: links[0] } : { links }),
    userAgent: navigator.userAgent,
    cookies: await cookiesFor(links, page, await storeOf(tab)),
    ...(page && { referrer: page }),
  };
}

function tell(sentence) {
  browser.notifications.create({ type: "basic", iconUrl: "icons/128.png", title: "Fluvane", message: sentence });
}

async function offer(offered) {
  const answer = await answerTo(offered, secondsToAnswer);
  if (answer?.type === "agreed") {
    await decide(offered.offer, answer.token, true);
    return;
  }
  if (answer?.reason !== "left") {
    tell(answer?.sentence || text("unreachable"));
  }
}

export async function clicked(info, tab) {
  if (info.menuItemId !== item) {
    return;
  }
  const links = [...new Set((await linksOf(info, tab)).filter(isWeb))].slice(0, mostLinks);
  if (links.length === 0) {
    tell(text("noLinks"));
  } else {
    await offer(await made(links, info, tab));
  }
}
