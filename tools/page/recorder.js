// The samples of one channel as 16-bit numbers, and a pyramid of minima and maxima above them, by
// which any stretch is drawn from a few numbers.

export const chunkBits = 20;
const chunkLength = 1 << chunkBits;
const lowestStep = 64; // samples under one number of the lowest floor
const growth = 8;

/** Keeps samples as they come. */
export class Recorder {
  chunks = [];
  length = 0;

  /** Appends samples of -1 to 1. */
  add(samples) {
    for (let i = 0; i < samples.length; ++i, ++this.length) {
      const at = this.length & (chunkLength - 1);
      if (at === 0) {
        this.chunks.push(new Int16Array(chunkLength));
      }
      this.chunks[this.length >> chunkBits][at] = Math.max(-1, Math.min(1, samples[i])) * 32767;
    }
  }

  /** What `Wave` takes: plain arrays that can be sent to the page. */
  finish() {
    return { length: this.length, chunks: this.chunks, floors: pyramid(this.chunks, this.length) };
  }
}

function pyramid(chunks, length) {
  const floors = [];
  let count = Math.ceil(length / lowestStep);
  let lowest = new Int16Array(count);
  let highest = new Int16Array(count);
  for (let i = 0; i < count; ++i) {
    const chunk = chunks[(i * lowestStep) >> chunkBits];
    const from = (i * lowestStep) & (chunkLength - 1);
    let min = chunk[from];
    let max = min;
    for (let k = from + 1; k < from + lowestStep; ++k) {
      const sample = chunk[k];
      if (sample < min) min = sample;
      if (sample > max) max = sample;
    }
    lowest[i] = min;
    highest[i] = max;
  }
  floors.push({ step: lowestStep, lowest, highest });
  for (let step = lowestStep * growth; count > 2000; step *= growth) {
    const below = floors.at(-1);
    count = Math.ceil(count / growth);
    lowest = new Int16Array(count).fill(32767);
    highest = new Int16Array(count).fill(-32768);
    for (let i = 0; i < below.lowest.length; ++i) {
      const at = Math.floor(i / growth);
      if (below.lowest[i] < lowest[at]) lowest[at] = below.lowest[i];
      if (below.highest[i] > highest[at]) highest[at] = below.highest[i];
    }
    floors.push({ step, lowest, highest });
  }
  return floors;
}

/** Reads what a Recorder kept. */
export class Wave {
  constructor({ length, chunks, floors }) {
    this.length = length;
    this.chunks = chunks;
    this.floors = floors;
  }

  /** The sample at an index, -1 to 1; 0 outside. */
  at(index) {
    return index >= 0 && index < this.length
      ? this.chunks[index >> chunkBits][index & (chunkLength - 1)] / 32767
      : 0;
  }

  /** The lowest and the highest sample from one index to another, -1 to 1, or null outside. */
  range(from, to) {
    const first = Math.max(0, Math.floor(from));
    const end = Math.min(this.length, Math.max(Math.ceil(to), first + 1));
    if (first >= end) {
      return null;
    }
    const floor = this.floors.findLast(({ step }) => 2 * step <= end - first);
    let min = 32767;
    let max = -32768;
    if (!floor) {
      for (let i = first; i < end; ++i) {
        const sample = this.chunks[i >> chunkBits][i & (chunkLength - 1)];
        if (sample < min) min = sample;
        if (sample > max) max = sample;
      }
    } else {
      const last = Math.min(Math.ceil(end / floor.step), floor.lowest.length);
      for (let i = Math.floor(first / floor.step); i < last; ++i) {
        if (floor.lowest[i] < min) min = floor.lowest[i];
        if (floor.highest[i] > max) max = floor.highest[i];
      }
    }
    return [min / 32767, max / 32767];
  }
}
