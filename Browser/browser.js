// SPDX-FileCopyrightText: The Fluvane developers
// SPDX-License-Identifier: GPL-3.0-or-later

// The browser's interfaces, by the one name that all modules use.
export const browser = globalThis.browser ?? globalThis.chrome;

export const isWeb = (link) => /^https?:\/\/[^/]/i.test(link ?? "");

export function hostOf(link) {
  try {
    return new URL(link).hostname;
  } catch {
    return "";
  }
}

export const text = (name, ...values) => browser.i18n.getMessage(name, values.map(String));
