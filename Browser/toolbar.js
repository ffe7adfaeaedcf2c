// SPDX-FileCopyrightText: The Fluvane developers
// SPDX-License-Identifier: GPL-3.0-or-later

// The toolbar button: how many downloads run in Fluvane.

import { browser, text } from "./browser.js";
import { running } from "./port.js";

const alarm = "running";
const secondsBetween = 4;

let timer = null;

// While something runs it is looked at often; else once a minute, since Fluvane tells nobody when it begins.
export async function refresh() {
  clearTimeout(timer);
  const count = await running();
  await browser.action.setBadgeText({ text: count ? String(count) : "" });
  await browser.action.setTitle({ title: count ? text("running", count) : "Fluvane" });
  if (count) {
    clearTimeout(timer);
    timer = setTimeout(refresh, secondsBetween * 1000);
  }
  return count;
}

export async function begin() {
  await browser.action.setBadgeBackgroundColor({ color: "#2563eb" });
  await browser.alarms.create(alarm, { delayInMinutes: 1, periodInMinutes: 1 });
  await refresh();
}

export const isAlarm = (name) => name === alarm;
