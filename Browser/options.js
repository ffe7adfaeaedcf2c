// SPDX-FileCopyrightText: The Fluvane developers
// SPDX-License-Identifier: GPL-3.0-or-later

import { MB, change, kinds, settings } from "./settings.js";
import { askForSites, translate } from "./page.js";

const byId = (id) => document.getElementById(id);
const boxes = () => [...document.querySelectorAll("input[name=kind]")];

const siteOf = (line) => line.trim().toLowerCase().replace(/^[a-z]+:\/\//, "").replace(/[/:].*$/, "");

function isNothingTaken() {
  byId("none").hidden = boxes().some((box) => box.checked);
}

async function save() {
  const size = byId("size").valueAsNumber;
  await change({
    takenKinds: boxes().filter((box) => box.checked).map((box) => box.value),
    ...(size >= 0 && { smallestSize: Math.round(size * MB) }),
    sitesLeft: [...new Set(byId("left").value.split("\n").map(siteOf).filter(Boolean))],
  });
  isNothingTaken();
}

function addKinds(taken) {
  for (const kind of Object.keys(kinds)) {
    const label = byId("kind").content.cloneNode(true).firstElementChild;
    label.querySelector("input").value = kind;
    label.querySelector("input").checked = taken.includes(kind);
    label.querySelector("span").dataset.text = kind;
    byId("kinds").append(label);
  }
}

const { takenKinds, smallestSize, sitesLeft } = await settings();
addKinds(takenKinds);
byId("size").value = smallestSize / MB;
byId("left").value = sitesLeft.join("\n");
translate();
isNothingTaken();
document.addEventListener("change", save);
byId("all").addEventListener("click", () => {
  boxes().forEach((box) => (box.checked = true));
  save();
});
askForSites(byId("sites"));
