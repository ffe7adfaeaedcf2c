// SPDX-FileCopyrightText: The Fluvane developers
// SPDX-License-Identifier: GPL-3.0-or-later

// What the browser wakes the extension for. Listeners are there at once: it may have been started for one of them.

import { browser } from "./browser.js";
import * as menu from "./menu.js";
import * as requests from "./requests.js";
import * as takeover from "./takeover.js";
import * as toolbar from "./toolbar.js";
import * as verdicts from "./verdicts.js";

// Once: nothing is taken over before something was chosen there.
async function greet() {
  const { greeted } = await browser.storage.local.get("greeted");
  if (!greeted) {
    await browser.runtime.openOptionsPage();
    await browser.storage.local.set({ greeted: true });
  }
}

requests.watch();
browser.downloads.onCreated.addListener(async (item) => {
  await takeover.began(item);
});
browser.downloads.onChanged.addListener(takeover.changed);
browser.contextMenus.onClicked.addListener(async (info, tab) => {
  await menu.clicked(info, tab);
  await toolbar.refresh();
});
browser.runtime.onInstalled.addListener(async () => {
  menu.install();
  await greet();
});
browser.runtime.onStartup.addListener(() => {}); // wakes it with the browser, for verdicts that are left
browser.runtime.onMessage.addListener((message, sender, answer) => {
  toolbar.refresh().then(answer);
  return true; // it is answered later
});
browser.alarms.onAlarm.addListener(({ name }) => {
  if (toolbar.isAlarm(name)) {
    toolbar.refresh();
  } else if (verdicts.isAlarm(name)) {
    verdicts.deliverKept();
  }
});

verdicts.deliverKept();
toolbar.begin();
