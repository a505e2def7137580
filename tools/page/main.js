/* global fflate */
import { Cards } from "./cards.js";
import { decode, Sentence } from "./decode.js";
import { download } from "./downloads.js";
import { Session } from "./session.js";
import { clock, WaveView } from "./waveview.js";

const byId = (id) => document.getElementById(id);
const bytesOf = (id) => Uint8Array.from(atob(byId(id).textContent), (letter) => letter.charCodeAt(0));

const core = WebAssembly.compile(fflate.gunzipSync(bytesOf("core")));
let shown = null; // { session, report, cards by revision, notes, name of the first file }
let work = null; // the session that reads at the moment

const cards = new Cards((record) => {
  const isBank = shown.report.recordings.length === 0;
  if (!isBank) {
    showRecordingOf(record);
    view.select(record);
  }
  byId(isBank ? "preset" : "wave").scrollIntoView({ block: "nearest" });
});
const view = new WaveView(document.querySelector("canvas"), {
  onPick: (record) => cards.reveal(record),
  onMove: tellPlace,
});

// Files in

byId("files").addEventListener("change", ({ target }) => {
  const files = [...target.files];
  target.value = ""; // so that the same file can be chosen again
  open(() => files);
});
byId("sample").addEventListener("click", () => open(makeSample));
byId("cancel").addEventListener("click", () => work.end());
addEventListener("dragover", (event) => {
  event.preventDefault();
  document.body.classList.add("dragging");
});
addEventListener("dragleave", ({ relatedTarget }) => {
  document.body.classList.toggle("dragging", relatedTarget !== null);
});
addEventListener("drop", (event) => {
  event.preventDefault();
  document.body.classList.remove("dragging");
  const files = [...event.dataTransfer.files];
  open(() => files);
});

/** The recording of the sample bank, made by the session. */
async function makeSample(session) {
  await session.call("readBank", bytesOf("sample-bank"));
  return [new File([await session.call("wavFile")], "sample.wav")];
}

/** Reads the files that `choose(session)` gives and shows the results; on failure the old ones stay. */
async function open(choose) {
  work?.end();
  const session = (work = new Session());
  byId("work").hidden = false;
  byId("progress").removeAttribute("value");
  byId("error").textContent = "";
  tell("");
  let files = [];
  try {
    await session.call("start", await core);
    files = await choose(session);
    const notes = await Promise.race([read(session, files), session.over]);
    const report = await session.call("results");
    const drawings = { 1: await session.call("cards", 1), 3: await session.call("cards", 3) };
    shown?.session.end();
    shown = { session, report, cards: drawings, notes, name: files[0].name };
    showResults();
  } catch (error) {
    session.end();
    if (work === session) {
      const isCancelled = error.name === "AbortError";
      tell(isCancelled ? "Cancelled." : "");
      byId("error").textContent = isCancelled ? "" : sentenceOf(error, files);
    }
  }
  if (work === session) {
    work = null;
    byId("work").hidden = true;
  }
}

function sentenceOf(error, files) {
  if (error instanceof Sentence) {
    return error.message;
  }
  const names = files.map(({ name }) => name).join(", ");
  if (error instanceof RangeError) {
    return `There is too little memory for ${names}. Close other pages, or cut the recording to the dump.`;
  }
  return `${names} can't be read: ${error.message}`;
}

/** Reads a bank or recordings into the session; returns notes to show with the results. */
async function read(session, files) {
  if (files.length === 0) {
    throw new Sentence("That is not a file. Choose recordings or a bank.");
  }
  const isBank = ({ name }) => /\.(syx|sysex)$/i.test(name);
  const bank = files.find(isBank);
  if (!bank) {
    return readRecordings(session, files);
  }
  if (files.length > 1) {
    throw new Sentence(`${bank.name} is a bank; open it alone.`);
  }
  const whole = 2120; // bytes
  const bytes = new Uint8Array(await bank.slice(0, whole + 1).arrayBuffer());
  if (!(await session.call("readBank", bytes))) {
    const size = `it has ${bank.size.toLocaleString("en")} bytes, and 40 presets take ${whole.toLocaleString("en")}`;
    throw new Sentence(`${bank.name} is not a complete SysEx bank of a Kestrel7${bank.size === whole ? "" : `: ${size}`}.`);
  }
  return [];
}

async function readRecordings(session, files) {
  const without = [];
  for (const [i, file] of files.entries()) {
    tell(`Reading ${file.name} …`);
    await decode(
      file,
      (description) => session.call("beginRecording", { name: file.name, ...description, pieces: undefined }),
      async (block, done) => {
        await session.call("add", block, block.map(({ buffer }) => buffer));
        byId("progress").value = (i + done) / files.length;
      },
    );
    const { hasDump, whatElse } = await session.call("endRecording");
    if (!hasDump) {
      without.push(`${file.name} holds no dump. It holds ${whatElse}.`);
    }
  }
  if (without.length === files.length) {
    throw new Sentence(without.join(" "));
  }
  const different = await session.call("readRecordings");
  if (different) {
    const [first, second] = different.map((i) => files[i].name);
    throw new Sentence(`${first} and ${second} hold different dumps. Open them one at a time.`);
  }
  return without;
}

function tell(text) {
  byId("status").textContent = text;
}

// Results

function showResults() {
  const { report, notes } = shown;
  const isBank = report.recordings.length === 0;
  byId("results").hidden = false;
  byId("verdict").textContent = isBank ? `The 40 presets of ${shown.name}` : report.verdict;
  byId("advice").textContent = isBank ? "" : report.advice;
  fill("notes", notes.map((note) => item(note)));
  byId("recording").hidden = isBank;
  byId("troubles").hidden = isBank;
  document.querySelector("[data-file=html]").hidden = isBank;
  cards.reset();
  showCards();
  const options = report.recordings.map(({ name }) => new Option(name));
  byId("recordings").replaceChildren(...options);
  byId("choice").hidden = options.length < 2;
  if (!isBank) {
    showRecording(report.recordings.findIndex(({ chosenDump }) => chosenDump !== null));
  }
  tell(isBank ? "Read." : `Read. ${report.verdict}`);
  byId("verdict").focus({ preventScroll: true });
}

function showRecording(index) {
  const recording = shown.report.recordings[index];
  const dump = recording.dumps[recording.chosenDump];
  byId("recordings").selectedIndex = index;
  byId("recording-title").textContent = recording.name;
  byId("format").textContent = recording.format;
  view.show(recording, shown.report.presets);

  const findings = recording.findings.map(({ text, remedy, place }) => {
    const entry = item(`${text[0].toUpperCase()}${text.slice(1)}. ${remedy} `);
    if (place) {
      entry.append(placeButton(`Show ${clock(place.start)}`, place));
    }
    return entry;
  });
  fill("findings", findings);
  byId("findings-title").hidden = findings.length === 0;

  const places = (dump?.doubtfulPlaces ?? []).map((place) => {
    const entry = item("");
    entry.append(placeButton(clock(place.start), place));
    return entry;
  });
  fill("places", places);
  byId("places-title").hidden = places.length === 0;
}

/** Turns to the recording that a preset was read from. */
function showRecordingOf(record) {
  const { recording } = shown.report.presets[record];
  if (recording !== null && recording !== byId("recordings").selectedIndex) {
    showRecording(recording);
  }
}

function fill(id, entries) {
  byId(id).replaceChildren(...entries);
  byId(id).hidden = entries.length === 0;
}

function item(text) {
  const entry = document.createElement("li");
  entry.textContent = text;
  return entry;
}

function placeButton(text, { start, end }) {
  const button = document.createElement("button");
  button.type = "button";
  button.textContent = text;
  button.addEventListener("click", () => {
    view.goTo(start, end, 3);
    byId("wave").scrollIntoView({ block: "nearest" });
  });
  return button;
}

let placeTimer;

/** Tells which part of the wave is shown, once it stays. */
function tellPlace(start, end, record) {
  clearTimeout(placeTimer);
  placeTimer = setTimeout(() => {
    const { group, number, verdict } = shown.report.presets[record] ?? {};
    const preset = group ? `; in the middle preset ${group}-${number}, ${verdict}` : "";
    const step = Math.min(0.001, (end - start) / 100);
    byId("place").textContent = `${clock(start, step)} to ${clock(end, step)}${preset}`;
  }, 300);
}

byId("recordings").addEventListener("change", ({ target }) => showRecording(target.selectedIndex));

const views = {
  in: () => view.zoom(2),
  out: () => view.zoom(0.5),
  left: () => view.move(-0.5),
  right: () => view.move(0.5),
  dump: () => view.showDump(),
  all: () => view.showAll(),
};
byId("wave-buttons").addEventListener("click", ({ target }) => views[target.dataset.view]?.());

// Saving the presets

/** The cards of the revision chosen. */
function chosenCards() {
  return shown.cards[document.querySelector("[name=revision]:checked").value];
}

function showCards() {
  cards.show(chosenCards(), shown.report.presets);
}

document.querySelector("fieldset").addEventListener("change", showCards);

byId("save").addEventListener("click", async ({ target }) => {
  if (target.dataset.file) {
    const baseName = shown.name.replace(/\.[^.]*$/, "");
    await download(target.dataset.file, shown.session, chosenCards(), shown.report.presets, baseName);
  }
});
