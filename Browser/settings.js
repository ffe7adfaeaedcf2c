// SPDX-FileCopyrightText: The Fluvane developers
// SPDX-License-Identifier: GPL-3.0-or-later

// What the person chose. Nothing is taken over until a kind is chosen.

import { browser, hostOf } from "./browser.js";

export const MB = 1_000_000;

export const kinds = {
  archives: /^(7z|apk|bz2|cab|deb|gz|jar|lz|lzma|rar|rpm|tar|tbz2?|tgz|txz|xz|zip|zst)$/,
  images: /^(dmg|img|iso|ova|qcow2|vdi|vhdx?|vmdk|wim)$/,
  videos: /^(avi|flv|m2ts|m4v|mkv|mov|mp4|mpe?g|ogv|ts|webm|wmv)$/,
  music: /^(aac|aiff?|flac|m4a|mp3|oga|ogg|opus|wav|wma)$/,
  documents: /^(azw3|csv|djvu|docx?|epub|mobi|od[pst]|pdf|pptx?|rtf|txt|xlsx?)$/,
  programs: /^(appimage|bin|exe|flatpak|msi|run|sh|snap)$/,
  others: /^/,
};

const byType = [
  ["videos", /^video\//],
  ["music", /^audio\//],
  ["documents", /^(text\/plain|application\/(pdf|epub|msword|rtf|vnd\.(oasis|openxml|ms-)))/],
  ["archives", /^application\/(zip|gzip|x-(7z|bzip|gzip|rar|tar|xz|zip|zstd|compress))/],
  ["images", /^application\/x-(iso|cd-image|raw-disk)/],
];

export async function settings() {
  const { takenKinds = [], smallestSize = 10 * MB, sitesLeft = [] } = await browser.storage.local.get([
    "takenKinds",
    "smallestSize",
    "sitesLeft",
  ]);
  return { takenKinds, smallestSize, sitesLeft };
}

export const change = (changes) => browser.storage.local.set(changes);

// By the name's ending, else by what the server calls it.
export function kindOf(name, mime) {
  const ending = /\.([a-z0-9]+)$/i.exec(name ?? "")?.[1].toLowerCase();
  const known = ending && Object.keys(kinds).find((kind) => kind !== "others" && kinds[kind].test(ending));
  return known ?? byType.find(([, type]) => type.test(mime ?? ""))?.[0] ?? "others";
}

export const isOf = (host, site) => host === site || host.endsWith("." + site);

export function isLeft(chosen, ...links) {
  return links.some((link) => chosen.sitesLeft.some((site) => isOf(hostOf(link), site)));
}

// Whether the person wants such a download in Fluvane. One of unknown size may be a small one.
export async function isWanted({ links, referrer, size, mime, name }) {
  const chosen = await settings();
  return (
    chosen.takenKinds.includes(kindOf(name, mime)) &&
    (size ?? 0) >= chosen.smallestSize &&
    !isLeft(chosen, referrer, ...links)
  );
}
