// SPDX-License-Identifier: GPL-3.0-or-later
// What plays: one sound at a time, chosen by a click or a key.

let chosen = -1,
  cameFrom = -1;
const bar = byId("seek");

function start(index, part = 0) {
  if (index != chosen) {
    rows[chosen]?.classList.remove("chosen");
    moveMark(0, 0);
    chosen = index;
    const sound = sounds[index];
    rows[index].classList.add("chosen");
    audio.src = `sounds/${sound.file}.mp3`;
    const [title, folder] = byId("now").children;
    title.textContent = sound.name;
    folder.textContent = [sound.bank, sound.category].filter(Boolean).join(" / ");
    bar.replaceChildren(track(index, wave(sound)));
    if (rows[index].isConnected)
      rows[index].scrollIntoView({ block: "nearest", behavior: "smooth" });
  }
  audio.currentTime = part * sounds[index].seconds;
  audio.play().catch(() => {});
}

function toggle() {
  if (chosen < 0) step(1);
  else if (audio.paused) audio.play();
  else audio.pause();
}

function step(by) {
  if (!shown.length) return;
  const at = shown.indexOf(chosen);
  const to = at < 0 ? 0 : at + by;
  if (to >= 0 && to < shown.length) start(shown[to]);
}

function neighbour() {
  const there =
    chosen < 0
      ? -1
      : cameFrom >= 0 && sounds[cameFrom].nearest == chosen
        ? cameFrom
        : sounds[chosen].nearest;
  if (there < 0) return;
  cameFrom = chosen;
  start(there);
}

function moveMark(part, seen) {
  for (const picture of [rows[chosen]?.querySelector(".track"), bar.firstChild])
    if (picture) {
      picture.style.setProperty("--at", part);
      picture.style.setProperty("--seen", seen);
    }
}

const clock = s => `${Math.floor(s / 60)}:${String(Math.floor(s % 60)).padStart(2, "0")}`;

function showPlace() {
  if (chosen < 0) return;
  moveMark(Math.min(1, audio.currentTime / sounds[chosen].seconds), 1);
  byId("time").textContent = `${clock(audio.currentTime)} / ${clock(sounds[chosen].seconds)}`;
  if (!audio.paused) requestAnimationFrame(showPlace);
}

function showState() {
  byId("play").innerHTML = audio.paused ? playIcon : pauseIcon;
  rows.forEach((row, index) => {
    row.firstChild.innerHTML = index == chosen && !audio.paused ? pauseIcon : playIcon;
  });
  showPlace();
}

for (const event of ["play", "pause", "seeked", "loadedmetadata"])
  audio.addEventListener(event, showState);
audio.addEventListener("ended", () => (byId("on").checked ? step(1) : showState()));
byId("play").onclick = toggle;
byId("previous").onclick = () => step(-1);
byId("next").onclick = () => step(1);
byId("neighbour").onclick = neighbour;
byId("volume").oninput = event => {
  audio.volume = event.target.value;
};
audio.volume = byId("volume").value;

const keys = {
  " ": toggle,
  j: () => step(1),
  k: () => step(-1),
  ArrowDown: () => step(1),
  ArrowUp: () => step(-1),
  n: neighbour,
  ArrowLeft: () => {
    audio.currentTime -= 1;
  },
  ArrowRight: () => {
    audio.currentTime += 1;
  },
  "/": () => byId("search").focus(),
};
addEventListener("keydown", event => {
  if (event.ctrlKey || event.altKey || event.metaKey) return;
  if (event.target.matches("input[type=search], select")) {
    if (event.key == "Escape" || event.key == "Enter") event.target.blur();
    return;
  }
  const act = keys[event.key];
  if (!act) return;
  event.preventDefault();
  act();
});

list();
showState();
