import { bitCount, bitsPerPreset } from "./dump.js";
import { Wave } from "./recorder.js";

const shortestView = 0.002; // seconds
const nominalRate = 44100; // samples a second, for lengths of half-periods
const shortHalfPeriod = 12; // samples at that rate
const bitLength = 0.003; // seconds, about
const wheelZoom = 0.0015; // a pixel of the wheel
const clickDistance = 5; // pixels that a click may move

// Rows from the top, in pixels; below the wave they are counted from the bottom.
const stripTop = 14;
const stripHeight = 24;
const waveTop = stripTop + stripHeight + 8;
const axisHeight = 20;
const lengthsHeight = 18;
const bitsHeight = 22;
const waveBottom = axisHeight + lengthsHeight + bitsHeight + 8;

/** Seconds as m:ss, with as many decimals as `step` needs. */
export function clock(seconds, step = 0.001) {
  const decimals = Math.max(0, Math.min(6, Math.ceil(-Math.log10(step) - 1e-9)));
  const rounded = Number(seconds.toFixed(decimals));
  const minutes = Math.floor(rounded / 60);
  const rest = (rounded - 60 * minutes).toFixed(decimals);
  return `${minutes}:${rest.padStart(decimals ? decimals + 3 : 2, "0")}`;
}

/** The wave of a recording on a canvas, with the parts of its dump as bands. */
export class WaveView {
  /**
   * `onPick(record)` is called when the user chooses a preset on the wave, `onMove(start, end, record)`
   * when another part is shown; record is that of the preset in the middle, or -1.
   */
  constructor(canvas, { onPick, onMove }) {
    this.canvas = canvas;
    this.onPick = onPick;
    this.onMove = onMove;
    this.context = canvas.getContext("2d");
    this.selected = -1;
    this.pointers = new Map();
    new ResizeObserver(() => this.#resize()).observe(canvas);
    matchMedia("(prefers-color-scheme: dark)").addEventListener("change", () => this.#resize());
    matchMedia("print").addEventListener("change", () => this.#resize());
    this.#listen();
  }

  /** Shows a recording of the report, the whole of it at first. */
  show(recording, presets) {
    this.wave = new Wave(recording.wave);
    this.rate = recording.sampleRate;
    this.duration = Math.max(recording.duration, shortestView);
    this.bits = recording.bits;
    this.dump = recording.dumps[recording.chosenDump];
    this.presets = presets;
    this.spans = presets.map((_, record) => this.#presetSpan(record));
    this.doubtful = doubtfulBits(presets);
    this.selected = -1;
    this.gain = 0.95 / this.#peak();
    this.showAll();
  }

  /** The highest magnitude within the dump, or in all where there is none. */
  #peak() {
    const { start, end } = this.dump?.start != null ? this.dump : { start: 0, end: this.duration };
    const [lowest, highest] = this.wave.range(start * this.rate, end * this.rate) ?? [-1, 1];
    return Math.max(-lowest, highest, 0.001);
  }

  showAll() {
    this.#view(0, this.duration);
  }

  showDump() {
    if (this.dump?.start != null) {
      this.goTo(this.dump.start, this.dump.end, 1.05);
    }
  }

  /** Shows a stretch with room beside it, `room` times its length in all. */
  goTo(start, end, room = 1.6) {
    const length = Math.max(end - start, shortestView) * room;
    this.#view((start + end - length) / 2, (start + end + length) / 2);
  }

  /** Marks a preset and goes to it; where the recording does not hold it, nothing moves. */
  select(record) {
    this.selected = record;
    const span = this.spans[record];
    if (span) {
      this.goTo(span.start, span.end);
    }
    this.#dirty();
  }

  /** Zooms in by `factor` around a place, 0 to 1 across the view. */
  zoom(factor, place = 0.5) {
    const length = Math.min(this.duration, Math.max(shortestView, (this.end - this.start) / factor));
    const start = this.start + place * (this.end - this.start - length);
    this.#view(start, start + length);
  }

  /** Moves by a part of the view. */
  move(part) {
    const by = part * (this.end - this.start);
    this.#view(this.start + by, this.end + by);
  }

  #view(start, end) {
    const length = Math.min(this.duration, Math.max(shortestView, end - start));
    this.start = Math.max(0, Math.min(this.duration - length, start));
    this.end = this.start + length;
    this.#dirty();
    this.onMove(this.start, this.end, this.#recordAt((this.start + this.end) / 2));
  }

  #presetSpan(record) {
    let span = null;
    for (let i = record * bitsPerPreset; this.bits && i < (record + 1) * bitsPerPreset; ++i) {
      if (this.bits[3 * i + 2] >= 0) {
        span = { start: span?.start ?? this.bits[3 * i], end: this.bits[3 * i + 1] };
      }
    }
    return span;
  }

  #recordAt(time) {
    return this.spans.findIndex((span) => span && time >= span.start && time < span.end);
  }

  #listen() {
    const { canvas, pointers } = this;
    const placeOf = (event) => {
      const { left, width } = canvas.getBoundingClientRect();
      return (event.clientX - left) / width;
    };
    canvas.addEventListener("wheel", (event) => {
      event.preventDefault();
      const pixels = event.deltaMode === WheelEvent.DOM_DELTA_PIXEL ? 1 : 30;
      if (Math.abs(event.deltaX) > Math.abs(event.deltaY)) {
        this.move((event.deltaX * pixels) / canvas.clientWidth);
      } else {
        this.zoom(Math.exp(-event.deltaY * pixels * wheelZoom), placeOf(event));
      }
    }, { passive: false });

    canvas.addEventListener("pointerdown", (event) => {
      canvas.setPointerCapture(event.pointerId);
      pointers.set(event.pointerId, { place: placeOf(event), from: event.clientX, moved: pointers.size > 0 });
      canvas.classList.add("dragged");
    });
    canvas.addEventListener("pointermove", (event) => {
      const pointer = pointers.get(event.pointerId);
      if (!pointer) {
        return;
      }
      const place = placeOf(event);
      pointer.moved ||= Math.abs(event.clientX - pointer.from) > clickDistance;
      const other = [...pointers.values()].find((each) => each !== pointer);
      if (other) {
        const before = Math.abs(pointer.place - other.place);
        const now = Math.abs(place - other.place);
        if (before > 0.01 && now > 0.01) {
          this.zoom(now / before, other.place);
        }
        other.moved = true;
      } else if (pointer.moved) {
        this.move(pointer.place - place);
      } else {
        return;
      }
      pointer.place = place;
    });
    const release = (event) => {
      const pointer = pointers.get(event.pointerId);
      pointers.delete(event.pointerId);
      canvas.classList.toggle("dragged", pointers.size > 0);
      if (event.type === "pointerup" && pointer && !pointer.moved) {
        this.#pick(this.start + placeOf(event) * (this.end - this.start));
      }
    };
    canvas.addEventListener("pointerup", release);
    canvas.addEventListener("pointercancel", release);

    const keys = {
      "+": () => this.zoom(1.5),
      "=": () => this.zoom(1.5),
      "-": () => this.zoom(1 / 1.5),
      ArrowLeft: () => this.move(-0.1),
      ArrowRight: () => this.move(0.1),
      PageUp: () => this.move(-0.9),
      PageDown: () => this.move(0.9),
      Home: () => this.showAll(),
      Enter: () => this.#pick((this.start + this.end) / 2),
    };
    canvas.addEventListener("keydown", (event) => {
      if (keys[event.key] && !event.ctrlKey && !event.metaKey && !event.altKey) {
        event.preventDefault();
        keys[event.key]();
      }
    });
  }

  #pick(time) {
    const record = this.#recordAt(time);
    if (record >= 0) {
      this.selected = record;
      this.#dirty();
      this.onPick(record);
    }
  }

  #resize() {
    const ratio = devicePixelRatio || 1;
    this.canvas.width = Math.round(this.canvas.clientWidth * ratio);
    this.canvas.height = Math.round(this.canvas.clientHeight * ratio);
    const style = getComputedStyle(document.documentElement);
    this.colors = {};
    for (const name of ["paper", "ink", "faint", "pale", "wash", "amp", "filt", "sure", "doubt", "miss", "band"]) {
      this.colors[name] = style.getPropertyValue(`--${name}`).trim();
    }
    this.font = getComputedStyle(this.canvas).fontFamily;
    this.hatch = this.#hatchPattern();
    if (this.wave) {
      this.#draw(); // at once: a canvas is empty after a change of its size
    }
  }

  #hatchPattern() {
    const tile = document.createElement("canvas");
    tile.width = tile.height = 8;
    const pen = tile.getContext("2d");
    pen.strokeStyle = this.colors.doubt;
    pen.lineWidth = 2;
    pen.beginPath();
    for (const x of [-8, 0, 8]) {
      pen.moveTo(x, 8);
      pen.lineTo(x + 8, 0);
    }
    pen.stroke();
    return this.context.createPattern(tile, "repeat");
  }

  #dirty() {
    this.frame ??= requestAnimationFrame(() => {
      this.frame = null;
      this.#draw();
    });
  }

  #draw() {
    if (!this.wave || !this.colors || this.canvas.width === 0) {
      return;
    }
    const ratio = devicePixelRatio || 1;
    const pen = this.context;
    const width = this.canvas.clientWidth;
    const height = this.canvas.clientHeight;
    pen.setTransform(ratio, 0, 0, ratio, 0, 0);
    pen.fillStyle = this.colors.paper;
    pen.fillRect(0, 0, width, height);
    pen.font = `12px ${this.font}`;
    pen.textAlign = "center";
    const scene = {
      pen,
      width,
      height,
      scale: width / (this.end - this.start), // pixels a second
      x: (time) => ((time - this.start) * width) / (this.end - this.start),
    };
    this.#drawBands(scene);
    this.#drawWave(scene);
    this.#drawBits(scene);
    this.#drawHalfPeriods(scene);
    this.#drawAxis(scene);
  }

  #drawBands({ pen, width, height, x }) {
    const { paper, ink, filt, sure, doubt, miss, band } = this.colors;
    const box = (start, end) => {
      const left = Math.max(-2, x(start));
      return [left, stripTop, Math.max(1, Math.min(width + 2, x(end)) - left), stripHeight];
    };
    const isSeen = ({ start, end }) => end > this.start && start < this.end;
    const label = (text, [left, top, wide], color) => {
      if (wide > pen.measureText(text).width + 6) {
        pen.fillStyle = color;
        pen.fillText(text, left + wide / 2, top + 16);
      }
    };
    if (this.dump?.leader && isSeen(this.dump.leader)) {
      const place = box(this.dump.leader.start, this.dump.leader.end);
      pen.globalAlpha = 0.35;
      pen.fillStyle = filt;
      pen.fillRect(...place);
      pen.globalAlpha = 1;
      label("leader", place, ink);
    }
    this.spans.forEach((span, record) => {
      if (!span || !isSeen(span)) {
        return;
      }
      const { verdict, group, number } = this.presets[record];
      const place = box(span.start, span.end);
      if (record === this.selected) {
        pen.fillStyle = band;
        pen.fillRect(place[0], waveTop, place[2], height - waveTop - axisHeight);
      }
      if (place[2] > 3) {
        place[0] += 0.5;
        place[2] -= 1;
      }
      pen.fillStyle = verdict === "sure" ? sure : verdict === "doubtful" ? this.hatch : paper;
      pen.fillRect(...place);
      if (verdict !== "sure") {
        pen.strokeStyle = verdict === "doubtful" ? doubt : miss;
        pen.setLineDash(verdict === "missing" ? [3, 3] : []);
        pen.strokeRect(...place);
        pen.setLineDash([]);
      }
      const name = `${group}-${number}${verdict === "doubtful" ? " ?" : ""}`;
      if (verdict === "doubtful" && place[2] > pen.measureText(name).width + 6) {
        const wide = pen.measureText(name).width + 6;
        pen.fillStyle = paper;
        pen.fillRect(place[0] + (place[2] - wide) / 2, stripTop + 4, wide, stripHeight - 8);
      }
      label(name, place, verdict === "sure" ? paper : ink);
    });
    if (this.dump?.marker && isSeen(this.dump.marker)) {
      const place = box(this.dump.marker.start, this.dump.marker.end);
      pen.fillStyle = ink;
      pen.fillRect(place[0], stripTop - 4, Math.max(2, place[2]), stripHeight + 8);
      label("marker", place, paper);
    }
    pen.fillStyle = miss;
    for (const { start, end } of this.dump?.dropOuts ?? []) {
      const middle = x((start + end) / 2);
      pen.beginPath();
      pen.moveTo(middle - 4, 1);
      pen.lineTo(middle + 4, 1);
      pen.lineTo(middle, 10);
      pen.fill();
    }
  }

  #drawWave({ pen, width, height, x }) {
    const bottom = height - waveBottom;
    const middle = (waveTop + bottom) / 2;
    const half = (bottom - waveTop) / 2;
    const y = (sample) => middle - half * Math.max(-1, Math.min(1, this.gain * sample));
    const samplesPerPixel = ((this.end - this.start) * this.rate) / width;
    pen.strokeStyle = this.colors.pale;
    pen.beginPath();
    pen.moveTo(0, middle);
    pen.lineTo(width, middle);
    pen.stroke();
    pen.beginPath();
    if (samplesPerPixel < 2) {
      const first = Math.floor(this.start * this.rate) - 1;
      const last = Math.ceil(this.end * this.rate) + 1;
      for (let i = first; i <= last; ++i) {
        pen.lineTo(x(i / this.rate), y(this.wave.at(i)));
      }
      pen.strokeStyle = this.colors.ink;
      pen.lineWidth = 1.4;
      pen.stroke();
      pen.lineWidth = 1;
      return;
    }
    for (let column = 0; column < width; ++column) {
      const from = this.start * this.rate + column * samplesPerPixel;
      const range = this.wave.range(from, from + samplesPerPixel);
      if (range) {
        pen.rect(column, y(range[1]), 1, Math.max(1, y(range[0]) - y(range[1])));
      }
    }
    pen.fillStyle = this.colors.ink;
    pen.fill();
  }

  /** The index of the first bit that ends after a time. */
  #firstBitAfter(time) {
    let low = 0;
    let high = bitCount;
    while (low < high) {
      const middle = (low + high) >> 1;
      if (this.bits[3 * middle + 2] >= 0 && this.bits[3 * middle + 1] > time) {
        high = middle;
      } else {
        low = middle + 1;
      }
    }
    return low;
  }

  #drawBits({ pen, height, scale, x }) {
    const top = height - axisHeight - lengthsHeight - bitsHeight;
    if (!this.bits || scale * bitLength < 3) {
      return;
    }
    const { amp, filt, ink, pale, doubt } = this.colors;
    for (let i = this.#firstBitAfter(this.start); i < bitCount; ++i) {
      const [start, end, value] = this.bits.subarray(3 * i, 3 * i + 3);
      if (start > this.end || value < 0) {
        break;
      }
      const place = [x(start), top, x(end) - x(start), bitsHeight - 2];
      pen.globalAlpha = 0.2;
      pen.fillStyle = value === 1 ? amp : filt;
      pen.fillRect(...place);
      pen.globalAlpha = 1;
      if (this.doubtful[i]) {
        pen.fillStyle = this.hatch;
        pen.fillRect(...place);
      }
      pen.strokeStyle = this.doubtful[i] ? doubt : pale;
      pen.strokeRect(...place);
      if (place[2] > 10) {
        pen.fillStyle = ink;
        pen.fillText(String(value), place[0] + place[2] / 2, top + 14);
      }
    }
  }

  /** The lengths of the half-periods, in samples at 44,100 a second, as zero crossings cut them. */
  #drawHalfPeriods({ pen, height, scale, x }) {
    const top = height - axisHeight - lengthsHeight;
    if ((scale * shortHalfPeriod) / nominalRate < 10) {
      return;
    }
    pen.strokeStyle = this.colors.faint;
    pen.fillStyle = this.colors.faint;
    pen.beginPath();
    const longest = Math.ceil((60 / nominalRate) * this.rate);
    let previous = null;
    const end = Math.ceil(this.end * this.rate) + longest;
    for (let i = Math.floor(this.start * this.rate) - longest; i < end; ++i) {
      const before = this.wave.at(i);
      const after = this.wave.at(i + 1);
      if (before > 0 === after > 0) {
        continue;
      }
      const time = (i + before / (before - after)) / this.rate;
      pen.moveTo(x(time), top);
      pen.lineTo(x(time), top + 8);
      if (previous !== null && (time - previous) * scale > 16) {
        const samples = Math.round((time - previous) * nominalRate);
        pen.fillText(String(samples), x((previous + time) / 2), top + 11);
      }
      previous = time;
    }
    pen.stroke();
  }

  #drawAxis({ pen, width, height, x }) {
    const length = this.end - this.start;
    const steps = [0.0002, 0.0005, 0.001, 0.002, 0.005, 0.01, 0.02, 0.05, 0.1, 0.2, 0.5, 1, 2, 5, 10, 15, 30, 60, 120, 300, 600, 1800];
    const step = steps.find((each) => (each / length) * width > 80) ?? 3600;
    pen.fillStyle = this.colors.faint;
    for (let n = Math.ceil(this.start / step); n * step <= this.end; ++n) {
      const place = x(n * step);
      pen.fillRect(place, height - axisHeight, 1, 4);
      if (place > 20 && place < width - 20) {
        pen.fillText(clock(n * step, step), place, height - 4);
      }
    }
  }
}

/** For each of the 7,680 bits whether it is doubtful, from the masks of the presets. */
function doubtfulBits(presets) {
  const flags = new Uint8Array(bitCount);
  presets.forEach(({ doubtfulBits: mask }, record) => {
    for (let byte = 0; byte < mask.length / 2; ++byte) {
      const value = parseInt(mask.slice(2 * byte, 2 * byte + 2), 16);
      for (let bit = 0; bit < 8; ++bit) {
        flags[record * bitsPerPreset + 8 * byte + bit] = (value >> (7 - bit)) & 1;
      }
    }
  });
  return flags;
}
