// Holds one session of the core. Each message names a function below; its result is sent back.
import { bitCount, presetCount } from "./dump.js";
import { Recorder } from "./recorder.js";

const framesAtOnce = 65536;

let core;
let channels = []; // a Recorder for each channel of the current recording
const waves = []; // of the recordings that were read

class OutOfMemory extends Error {}

const decoder = new TextDecoder();
const encoder = new TextEncoder();

/** The bytes that a function of the core answers with. */
function bytesFrom(size) {
  return new Uint8Array(core.memory.buffer, core.output(), size).slice();
}

function textFrom(size) {
  return decoder.decode(bytesFrom(size));
}

function input(bytes) {
  const place = core.input(bytes.length);
  new Uint8Array(core.memory.buffer, place, bytes.length).set(bytes);
}

/** What of a wave is moved to the page and not copied. */
function buffersOf({ chunks, floors }) {
  const arrays = [...chunks, ...floors.flatMap(({ lowest, highest }) => [lowest, highest])];
  return arrays.map(({ buffer }) => buffer);
}

const functions = {
  async start(module) {
    const nothing = () => 0;
    const { exports } = await WebAssembly.instantiate(module, {
      wasi_snapshot_preview1: new Proxy({}, { get: () => nothing }),
      env: { outOfMemory() { throw new OutOfMemory(); } },
    });
    core = exports;
    core._initialize();
    core.initialize();
  },

  beginRecording({ name, container, codec, bits, lossy, rate, channels: count }) {
    input(encoder.encode([name, container, codec].join("\0")));
    core.beginRecording(rate, count, bits, lossy);
    channels = Array.from({ length: count }, () => new Recorder());
  },

  add(block) {
    const length = block[0].length;
    for (let from = 0; from < length; from += framesAtOnce) {
      const frames = Math.min(framesAtOnce, length - from);
      const place = core.samples(frames * block.length);
      const samples = new Float32Array(core.memory.buffer, place, frames * block.length);
      block.forEach((channel, c) => {
        for (let i = 0; i < frames; ++i) {
          samples[i * block.length + c] = channel[from + i];
        }
      });
      core.addFrames(frames);
    }
    block.forEach((channel, c) => channels[c].add(channel));
  },

  /** Ends the recording and tells whether a dump was found, and what else it holds. */
  endRecording() {
    const channel = core.endRecording();
    const index = waves.length;
    waves.push(channels[Math.max(channel, 0)].finish());
    channels = [];
    return { hasDump: channel >= 0, whatElse: textFrom(core.whatElse(index)) };
  },

  /** Reads the bank from all recordings; tells the two that hold different dumps, or null. */
  readRecordings() {
    const pair = core.readRecordings();
    return pair < 0 ? null : [pair % 1000, Math.floor(pair / 1000)];
  },

  /** Reads a SysEx bank file; tells whether it is complete. */
  readBank(bytes) {
    input(bytes);
    return core.readBankFile() === 1;
  },

  /** The report as an object, with the bits, the wave and the format of each recording; can be called once. */
  results() {
    const report = JSON.parse(textFrom(core.json()));
    report.recordings.forEach((recording, i) => {
      const place = core.bits(i);
      recording.bits = place ? new Float64Array(core.memory.buffer, place, 3 * bitCount).slice() : null;
      recording.wave = waves[i];
      recording.format = textFrom(core.format(i));
    });
    return report;
  },

  /** A card for each preset of an instrument of the revision. */
  cards(revision) {
    return Array.from({ length: presetCount }, (_, record) => ({
      drawing: textFrom(core.card(record, revision)),
      note: textFrom(core.cardNote(record, revision)),
      doubtfulKeys: textFrom(core.doubtfulKeys(record, revision)),
      reason: textFrom(core.reason(record)),
      text: textFrom(core.transferFile(record, revision)),
    }));
  },

  sysexFile: () => bytesFrom(core.sysexFile()),
  wavFile: () => bytesFrom(core.wavFile()),
  htmlReport: () => bytesFrom(core.htmlReport()),
};

onmessage = async ({ data: { id, name, argument } }) => {
  try {
    const result = await functions[name](argument);
    postMessage({ id, result }, name === "results" ? waves.flatMap(buffersOf) : []);
  } catch (error) {
    const isMemory = error instanceof OutOfMemory || error instanceof RangeError;
    postMessage({ id, error: { isMemory, message: String(error?.message ?? error) } });
  }
};
