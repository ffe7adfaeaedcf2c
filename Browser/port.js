// SPDX-FileCopyrightText: The Fluvane developers
// SPDX-License-Identifier: GPL-3.0-or-later

// The way to Fluvane: one connection to its host while there is something to say.

import { browser } from "./browser.js";

const host = "org.fluvane.fluvane";
const listeners = new Map(); // by the offer, or "" for the status

let port = null;

function heard(message) {
  listeners.get(message?.offer ?? "")?.(message);
}

function ended() {
  port = null;
  const all = [...listeners.values()];
  listeners.clear();
  all.forEach((listener) => listener(null));
}

function connected() {
  if (!port) {
    const opened = browser.runtime.connectNative(host);
    port = opened;
    opened.onMessage.addListener(heard);
    opened.onDisconnect.addListener(() => {
      void browser.runtime.lastError; // read, so that it isn't reported: the listeners say so
      if (port === opened) {
        ended();
      }
    });
  }
  return port;
}

// What the host says of this offer goes to the listener; null when it has gone.
export function listen(offer, listener) {
  listeners.set(offer, listener);
}

export function forget(offer) {
  listeners.delete(offer);
  if (listeners.size === 0) {
    port?.disconnect(); // our own end isn't told
    port = null;
  }
}

export function say(message) {
  try {
    connected().postMessage(message);
  } catch {
    ended();
  }
}

// Without a connection there is nobody who would wait for an answer.
export function withdraw(offer) {
  if (port) {
    say({ type: "withdraw", offer });
  }
}

// No answer counts anymore.
export function giveUp(offer) {
  listeners.get(offer)?.(null);
}

// The answer of this kind, or null; what is said before goes to `other`.
export function ask(offer, message, kinds, seconds, other = () => {}) {
  return new Promise((resolve) => {
    const end = (answer) => {
      clearTimeout(timer);
      resolve(answer);
    };
    const timer = setTimeout(() => end(null), seconds * 1000);
    listen(offer, (answer) => (!answer || kinds.includes(answer.type) ? end(answer) : other(answer)));
    say(message);
  });
}

let askedLast = Promise.resolve(null);

// The number running; null when Fluvane can't be reached.
export function running() {
  askedLast = askedLast.then(async () => {
    const answer = await ask("", { type: "status" }, ["status"], 5);
    forget("");
    return answer && Number.isInteger(answer.running) ? answer.running : null;
  });
  return askedLast;
}
