import { describe } from "./describe.js";

const usualRate = 44100;
const pieceFrames = 1 << 21; // of a long WAV file, decoded at a time
const blockFrames = 1 << 18; // handed on at a time

/** A sentence for the user. */
export class Sentence extends Error {}

/**
 * Decodes an audio file by the browser's own decoder.
 * `begin({ ...description, rate, channels })` is called once, then `add(channels, part)` for each
 * block: an array with the samples of each channel, and which part of the file is done, 0 to 1.
 */
export async function decode(file, begin, add) {
  const description = await describe(file);
  let hasBegun = false;
  for await (const { buffer, done, share } of pieces(file, description)) {
    if (!hasBegun) {
      await begin({ ...description, rate: buffer.sampleRate, channels: buffer.numberOfChannels });
      hasBegun = true;
    }
    for (let from = 0; from < buffer.length; from += blockFrames) {
      const length = Math.min(blockFrames, buffer.length - from);
      const block = [];
      for (let i = 0; i < buffer.numberOfChannels; ++i) {
        block.push(buffer.getChannelData(i).slice(from, from + length));
      }
      await add(block, done + (share * (from + length)) / buffer.length);
    }
  }
  if (!hasBegun) {
    throw new Sentence(`${file.name} holds no sound.`);
  }
}

/** The decoded pieces of a file, with the part that is done before each and its share. */
async function* pieces(file, { pieces: wav, rate }) {
  const context = contextFor(rate);
  if (!wav || wav.blockAlign === 0 || wav.end <= wav.start) {
    yield { buffer: await decodeBytes(context, await file.arrayBuffer(), file), done: 0, share: 1 };
    return;
  }
  const size = pieceFrames * wav.blockAlign;
  for (let at = wav.start; at + wav.blockAlign <= wav.end; at += size) {
    const bytes = await file.slice(at, Math.min(at + size, wav.end)).arrayBuffer();
    const whole = wav.end - wav.start;
    yield {
      buffer: await decodeBytes(context, wavAround(wav.format, bytes), file),
      done: (at - wav.start) / whole,
      share: Math.min(size, wav.end - at) / whole,
    };
  }
}

/** A context that does not resample what has `rate`, where the browser allows that. */
function contextFor(rate) {
  try {
    return new OfflineAudioContext(1, 1, rate || usualRate);
  } catch {
    return new OfflineAudioContext(1, 1, usualRate);
  }
}

async function decodeBytes(context, bytes, file) {
  try {
    return await context.decodeAudioData(bytes);
  } catch (error) {
    if (error instanceof RangeError) {
      throw error; // out of memory
    }
    throw new Sentence(`${file.name} is not audio that this browser can read. Save it as WAV, FLAC or MP3 and try again.`);
  }
}

/** A WAV file of one piece of data. */
function wavAround(format, data) {
  const head = new Uint8Array(28 + format.length);
  const view = new DataView(head.buffer);
  const put = (at, id, size) => {
    head.set([...id].map((letter) => letter.charCodeAt(0)), at);
    view.setUint32(at + 4, size, true);
  };
  put(0, "RIFF", 20 + format.length + data.byteLength);
  put(8, "WAVE", 0);
  put(12, "fmt ", format.length);
  head.set(format, 20);
  put(20 + format.length, "data", data.byteLength);
  const file = new Uint8Array(head.length + data.byteLength);
  file.set(head);
  file.set(new Uint8Array(data), head.length);
  return file.buffer;
}
