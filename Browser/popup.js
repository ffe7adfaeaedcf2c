// SPDX-FileCopyrightText: The Fluvane developers
// SPDX-License-Identifier: GPL-3.0-or-later

import { browser, hostOf, isWeb, text } from "./browser.js";
import { askForSites, translate } from "./page.js";
import { change, isLeft, isOf, settings } from "./settings.js";

const byId = (id) => document.getElementById(id);

async function showSite() {
  const [tab] = await browser.tabs.query({ active: true, currentWindow: true });
  const site = isWeb(tab?.url) ? hostOf(tab.url) : "";
  const { takenKinds, ...chosen } = await settings();
  byId("none").hidden = takenKinds.length > 0;
  byId("site").hidden = !site || takenKinds.length === 0;
  byId("site-name").textContent = text("takeOverFrom", site);
  byId("taken").checked = !isLeft(chosen, tab?.url);
  byId("taken").addEventListener("change", async ({ target }) => {
    const { sitesLeft } = await settings();
    const others = sitesLeft.filter((left) => !isOf(site, left));
    await change({ sitesLeft: target.checked ? others : [...others, site] });
  });
}

async function showRunning() {
  const count = await browser.runtime.sendMessage("refresh");
  byId("running").textContent =
    count === null ? text("unreachable") : count ? text("running", count) : text("nothingRuns");
}

translate();
byId("options").addEventListener("click", async () => {
  await browser.runtime.openOptionsPage();
  close();
});
askForSites(byId("sites"));
showSite();
showRunning();
