// SPDX-FileCopyrightText: The Fluvane developers
// SPDX-License-Identifier: GPL-3.0-or-later

// How the browser came to an answer: what a download alone doesn't tell. Only looks on, holds nothing up.

import { browser } from "./browser.js";

const most = 300;
const patience = 2000; // milliseconds
const chains = new Map(); // by the request's number, oldest first

const header = (answer, name) =>
  answer.responseHeaders?.find((one) => one.name.toLowerCase() === name)?.value;

function began({ requestId, url, method, incognito }) {
  const chain = chains.get(requestId) ?? { links: [], isPlain: true, incognito: Boolean(incognito) };
  chain.links.push(url);
  chain.isPlain &&= method === "GET";
  chains.delete(requestId);
  chains.set(requestId, chain);
  if (chains.size > most) {
    chains.delete(chains.keys().next().value);
  }
}

function answered(answer) {
  const chain = chains.get(answer.requestId);
  if (!chain) {
    return;
  }
  const length = header(answer, "content-length");
  const isWhole = answer.statusCode === 200 && !header(answer, "content-encoding");
  chain.size = isWhole && /^\d{1,15}$/.test(length ?? "") ? Number(length) : undefined;
  chain.mime = header(answer, "content-type")?.split(";")[0].trim();
  chain.isAnswered = true;
  tell();
}

function ended({ requestId }) {
  const chain = chains.get(requestId);
  if (chain) {
    chain.isOver = true;
  }
}

let waiting = [];

function tell() {
  const all = waiting;
  waiting = [];
  all.forEach((wake) => wake());
}

const anAnswer = (time) =>
  new Promise((wake) => {
    waiting.push(wake);
    setTimeout(wake, Math.max(time, 0));
  });

export function watch() {
  // Whatever a download may begin as.
  const filter = { urls: ["http://*/*", "https://*/*"], types: ["main_frame", "sub_frame", "object", "other"] };
  browser.webRequest.onBeforeRequest.addListener(began, filter);
  browser.webRequest.onHeadersReceived.addListener(answered, filter, ["responseHeaders"]);
  browser.webRequest.onCompleted.addListener(ended, filter);
  browser.webRequest.onErrorOccurred.addListener(ended, filter);
}

// Chromium tells both ends of the way to a download, after the request. Firefox tells the last link, maybe before the
// request; one that is over was another's, as of a page with a form that leads to itself.
function isIt(chain, { url, finalUrl }) {
  const { links, isAnswered, isOver } = chain;
  return isAnswered && (finalUrl ? links[0] === url && links.at(-1) === finalUrl : links.at(-1) === url && !isOver);
}

// The newest chain that led to this download.
export async function chainTo(item) {
  const until = Date.now() + patience;
  for (;;) {
    const chain = [...chains.values()].reverse().find((one) => isIt(one, item));
    if (chain || Date.now() >= until) {
      return chain;
    }
    await anAnswer(until - Date.now());
  }
}
