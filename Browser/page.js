// SPDX-FileCopyrightText: The Fluvane developers
// SPDX-License-Identifier: GPL-3.0-or-later

// Pages in the browser's language and direction: elements with "data-text" show that text.

import { browser, text } from "./browser.js";

export function translate() {
  document.documentElement.lang = browser.i18n.getUILanguage();
  document.documentElement.dir = text("@@bidi_dir");
  for (const element of document.querySelectorAll("[data-text]")) {
    element.textContent = text(element.dataset.text);
  }
}

const everything = { origins: ["<all_urls>"] };

// Firefox lets people take back that an extension sees what is loaded; without it nothing can be taken over.
export async function askForSites(element) {
  const show = async () => {
    element.hidden = await browser.permissions.contains(everything);
  };
  element.querySelector("button").addEventListener("click", async () => {
    await browser.permissions.request(everything);
    await show();
  });
  await show();
}
