// SPDX-License-Identifier: GPL-3.0-or-later
const { sounds, shares, pairs, nearCopy } = library;
const byId = id => document.getElementById(id);
const audio = byId("audio");

const icon = path => `<svg viewBox="0 0 20 20"><path d="${path}"/></svg>`;
const playIcon = icon("M5 2.5v15L17 10z");
const pauseIcon = icon("M4.5 3h4v14h-4zM11.5 3h4v14h-4z");

function element(tag, attributes = {}, ...children) {
  const made = document.createElement(tag);
  for (const [name, value] of Object.entries(attributes)) {
    if (name.startsWith("on")) made.addEventListener(name.slice(2), value);
    else if (value !== null) made.setAttribute(name, value);
  }
  made.append(...children);
  return made;
}

// --- Pictures of a sound ---

function wave(sound) {
  const points = sound.outline,
    last = points.length - 1;
  const top = Math.max(10, ...points);
  const upper = points.map((value, x) => `${x} ${50 - (48 * value) / top}`);
  const lower = points.map((value, x) => `${x} ${50 + (48 * value) / top}`).reverse();
  const svg = document.createElementNS("http://www.w3.org/2000/svg", "svg");
  svg.setAttribute("viewBox", `0 0 ${last} 100`);
  svg.setAttribute("preserveAspectRatio", "none");
  svg.innerHTML = `<path d="M${upper.join("L")}L${lower.join("L")}Z"/>`;
  return svg;
}

/// A click goes to that place of the sound.
function track(index, ...pictures) {
  const made = element("div", { class: "track" }, ...pictures);
  made.addEventListener("click", event => {
    const box = made.getBoundingClientRect();
    start(index, (event.clientX - box.left) / box.width);
  });
  return made;
}

// --- Rows ---

const seconds = value =>
  value === null ? "never" : value < 1 ? `${Math.round(1000 * value)} ms` : `${value.toFixed(1)} s`;
const hertz = value =>
  value >= 1000 ? `${(value / 1000).toFixed(1)} kHz` : `${Math.round(value)} Hz`;
function signed(value, digits) {
  if (value === null) return "–";
  const text = Math.abs(value).toFixed(digits);
  return (Number(text) == 0 ? "" : value < 0 ? "−" : "+") + text;
}

function figures(sound) {
  const off = word => sound.flags.some(flag => flag.includes(word));
  const entries = [
    ["Loudness", `${signed(sound.loudness, 1)} LUFS`, off("too ") || off("silent")],
    ["Attack", seconds(sound.attack ?? 0), false],
    ["Spread", `${sound.spread.toFixed(1)} LU`, off("takes")],
    ["End", seconds(sound.end), off("end")],
    ["Four notes", `${signed(sound.four, 1)} dB`, off("four")],
    ["Centre", hertz(sound.centroid ?? 0), false],
    ["Peak", `${signed(sound.peak, 1)} dB`, off("phrase peaks")],
    ["Motion", `${(sound.motion ?? 0).toFixed(2)} oct`, false],
    ["Soft note", `${signed(sound.soft, 0)} dB`, off("softly")],
    ["Width", `${Math.round(100 * (1 - sound.correlation))} %`, false],
    ["Tuning", sound.pitch === null ? "no pitch" : `${signed(sound.pitch, 0)} ct`, off("tune")],
    ["Played as", sound.phrase, false],
  ];
  return element(
    "dl",
    { class: "figures" },
    ...entries.map(([name, text, bad]) =>
      element("div", {}, element("dt", {}, name), element("dd", bad ? { class: "off" } : {}, text)),
    ),
  );
}

const link = (index, label) =>
  element("button", { class: "link", onclick: () => start(index) }, label ?? sounds[index].name);

function chips(sound) {
  const { engine, voices, wave, filter, LFO } = sound.traits;
  const words = [
    ...voices,
    ...wave,
    ...filter,
    ...LFO.filter(kind => kind != "none").map(kind => `mod: ${kind}`),
  ];
  return element(
    "div",
    { class: "chips" },
    element("span", { class: "engine" }, engine[0]),
    ...words.map(word => element("span", {}, word)),
  );
}

function makeRow(sound, index) {
  const { routing, colour } = sound.traits;
  const near =
    sound.nearest < 0
      ? ""
      : element(
          "div",
          { class: "near" },
          element(
            "span",
            { class: sound.gap < nearCopy ? "close" : "" },
            `${sound.gap.toFixed(1)} dB`,
          ),
          " to ",
          link(sound.nearest),
        );
  const folder = [sound.bank, sound.category].filter(Boolean).join(" / ");
  return element(
    "article",
    { class: "sound" },
    element("button", {
      title: "Play",
      onclick: () => (index == chosen ? toggle() : start(index)),
    }),
    element(
      "div",
      {},
      element("h3", {}, sound.name, element("small", {}, folder)),
      element("p", {}, sound.info),
      ...(sound.flags.length ? [element("p", { class: "off" }, sound.flags.join(" · "))] : []),
      ...(sound.faults.length ? [element("p", { class: "off" }, sound.faults.join(" · "))] : []),
    ),
    track(
      index,
      wave(sound),
      element("img", { src: `pictures/${sound.file}.png`, loading: "lazy", alt: "" }),
    ),
    figures(sound),
    element(
      "div",
      { class: "made", title: [...routing, ...colour].join("\n") },
      chips(sound),
      near,
    ),
  );
}

const rows = sounds.map(makeRow);
const haystack = sounds.map(sound =>
  [
    sound.name,
    sound.info,
    sound.bank,
    sound.category,
    sound.phrase,
    ...Object.values(sound.traits).flat(),
    ...sound.flags,
    ...sound.faults,
  ]
    .join(" ")
    .toLowerCase(),
);

// --- What is shown, and in which order ---

const orders = {
  "bank and category": null,
  name: sound => sound.name.toLowerCase(),
  loudness: sound => sound.loudness,
  "four-note peak": sound => sound.four,
  attack: sound => sound.attack,
  end: sound => sound.end ?? Infinity,
  brightness: sound => sound.centroid,
  motion: sound => sound.motion,
  width: sound => -sound.correlation,
  "distance to neighbour": sound => sound.gap ?? Infinity,
};
let bank = "",
  category = null,
  onlyFlagged = false,
  downwards = false,
  shown = [];

function choose(container, values, pick) {
  const buttons = values.map(([label, value]) =>
    element(
      "button",
      {
        "aria-pressed": "false",
        onclick: event => {
          const on = event.target.getAttribute("aria-pressed") != "true";
          for (const button of buttons) button.setAttribute("aria-pressed", "false");
          event.target.setAttribute("aria-pressed", on);
          pick(on ? value : null);
          list();
        },
      },
      label,
    ),
  );
  container.append(...buttons);
}

function list() {
  const words = byId("search").value.toLowerCase().split(/\s+/).filter(Boolean);
  shown = sounds
    .map((_, index) => index)
    .filter(index => {
      const sound = sounds[index];
      return (
        (!bank || sound.bank == bank) &&
        (category === null || sound.category == category) &&
        (!onlyFlagged || sound.flags.length || sound.faults.length) &&
        words.every(word => haystack[index].includes(word))
      );
    });
  const key = orders[byId("sort").value];
  if (key)
    shown.sort((a, b) =>
      key(sounds[a]) < key(sounds[b]) ? -1 : key(sounds[a]) > key(sounds[b]) ? 1 : a - b,
    );
  if (downwards) shown.reverse();
  byId("list").replaceChildren(...shown.map(index => rows[index]));
  byId("count").textContent = `${shown.length} of ${sounds.length}`;
}

// --- The head of the page ---

function share(name, count) {
  return element(
    "div",
    {
      class: "share",
      title: "Show these",
      onclick: () => {
        byId("search").value = name.toLowerCase();
        list();
      },
    },
    element("i", { style: `width:${(100 * count) / sounds.length}%` }),
    element("span", {}, name),
    element("span", {}, `${count}`),
  );
}

const troubled = sounds.filter(sound => sound.flags.length || sound.faults.length).length;
const banks = [...new Set(sounds.map(sound => sound.bank))];
byId("summary").textContent =
  `${sounds.length} sounds in ${banks.join(" and ")}` +
  (troubled ? `, ${troubled} with something off` : ", nothing off") +
  (pairs.length ? `. The closest two are ${pairs[0][0].toFixed(1)} dB apart.` : ".");
byId("shares").append(
  ...Object.entries(shares).map(([group, counts]) =>
    element(
      "div",
      { class: "group" },
      element("h3", {}, group),
      ...counts.map(([name, count]) => share(name, count)),
    ),
  ),
);
byId("pairs").append(
  ...pairs.map(([gap, one, other]) =>
    element(
      "div",
      { class: "pair" },
      element("b", {}, gap.toFixed(1)),
      element("span", {}, link(one), " / ", link(other)),
    ),
  ),
);
choose(
  byId("banks"),
  banks.map(name => [name, name]),
  value => {
    bank = value ?? "";
  },
);
choose(
  byId("categories"),
  [...new Set(sounds.map(sound => sound.category))]
    .sort()
    .map(name => [name || "Bank level", name]),
  value => {
    category = value;
  },
);
byId("sort").append(...Object.keys(orders).map(name => element("option", {}, name)));
byId("sort").onchange = list;
byId("search").oninput = list;
byId("flagged").onclick = event => {
  onlyFlagged = !onlyFlagged;
  event.target.setAttribute("aria-pressed", onlyFlagged);
  list();
};
byId("direction").onclick = event => {
  downwards = !downwards;
  event.target.textContent = downwards ? "↓" : "↑";
  list();
};
