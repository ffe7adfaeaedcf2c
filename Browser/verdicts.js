// SPDX-FileCopyrightText: The Fluvane developers
// SPDX-License-Identifier: GPL-3.0-or-later

// Verdicts: whether the browser's own download is gone. Fluvane starts nothing before it has heard one, so each is
// kept until it has arrived, over the end of the browser too.

import { browser } from "./browser.js";
import { ask, forget, withdraw } from "./port.js";

const prefix = "verdict-";
const longest = 7 * 24 * 60 * 60 * 1000;
const alarm = "verdicts";
const ours = new Set(); // those that this run brings to their end anyway

// `download` is what it is known by in the next run; nothing when there is none of the browser's.
export async function promise(offer, token, download) {
  ours.add(offer);
  await browser.storage.local.set({ [prefix + offer]: { token, download, at: Date.now() } });
  await browser.alarms.create(alarm, { delayInMinutes: 1, periodInMinutes: 30 });
}

export async function decide(offer, token, canceled) {
  ours.add(offer);
  await browser.storage.local.set({ [prefix + offer]: { token, canceled, at: Date.now() } });
  await deliver(offer, token, canceled);
}

// Fluvane's answer to an offer. Where none is heard, maybe because the host is gone, Fluvane is told that the browser
// keeps the file: it may have agreed.
export async function answerTo(offer, seconds) {
  let token = null;
  const answer = await ask(offer.offer, offer, ["agreed", "declined"], seconds, (asking) => (token = asking.token));
  if (answer?.type !== "agreed") {
    if (!answer && token) {
      await decide(offer.offer, token, false);
    } else if (!answer) {
      withdraw(offer.offer);
    }
    forget(offer.offer);
  }
  return answer;
}

async function deliver(offer, token, canceled) {
  const answer = await ask(offer, { type: "verdict", offer, token, canceled }, ["settled"], 30);
  forget(offer);
  if (answer) {
    await browser.storage.local.remove(prefix + offer);
  }
  ours.delete(offer);
}

// Cancels and erases what is left of it; tells whether the file isn't in the browser.
export async function cancel(id) {
  const look = async () => (await browser.downloads.search({ id }))[0];
  await browser.downloads.cancel(id).catch(() => {}); // it has just ended
  const item = await look();
  if (item?.state === "complete" || item?.state === "in_progress") {
    return false;
  }
  if (item) {
    await browser.downloads.erase({ id });
  }
  return true;
}

// The browser ended between the promise and the verdict: what has become of the download? Firefox begins it again.
async function isGone({ url, startTime }) {
  const found = (await browser.downloads.search({ url })).filter((item) => item.startTime >= startTime);
  const canceled = await Promise.all(found.map((item) => cancel(item.id)));
  return canceled.every(Boolean);
}

async function bring(offer, { token, canceled, download }) {
  await decide(offer, token, canceled ?? (download ? await isGone(download) : true));
}

// Those that an earlier run couldn't deliver.
export async function deliverKept() {
  const all = Object.entries(await browser.storage.local.get(null)).filter(([key]) => key.startsWith(prefix));
  if (all.length === 0) {
    await browser.alarms.clear(alarm);
  }
  for (const [key, verdict] of all) {
    const offer = key.slice(prefix.length);
    if (Date.now() - verdict.at > longest) {
      await browser.storage.local.remove(key);
    } else if (!ours.has(offer)) {
      ours.add(offer);
      await bring(offer, verdict);
    }
  }
}

export const isAlarm = (name) => name === alarm;
