// What an audio file says of itself: { container, codec, bits, lossy, rate }. A rate of 0 and empty
// words stand for what is not known. A plain or extensible WAV has also `pieces`, by which it can be
// decoded piece by piece: { format, blockAlign, start, end }.

const unknown = { container: "", codec: "", bits: 0, lossy: false, rate: 0 };
const headBytes = 65536;

export async function describe(file) {
  const bytes = new Uint8Array(await file.slice(0, headBytes).arrayBuffer());
  const view = new DataView(bytes.buffer);
  const text = (start, length) => String.fromCharCode(...bytes.subarray(start, start + length));
  try {
    if (["RIFF", "RF64"].includes(text(0, 4)) && text(8, 4) === "WAVE") {
      return await describeWav(file);
    }
    if (text(0, 4) === "fLaC") {
      const bits = ((view.getUint16(20) >> 4) & 31) + 1;
      return { ...unknown, container: "FLAC", codec: `${bits}-bit`, bits, rate: view.getUint32(18) >>> 12 };
    }
    if (text(0, 4) === "OggS") {
      const isOpus = text(28, 8) === "OpusHead";
      const isVorbis = text(29, 6) === "vorbis";
      const rate = isVorbis ? view.getUint32(40, true) : 48000;
      return { ...unknown, container: "Ogg", codec: isOpus ? "Opus" : isVorbis ? "Vorbis" : "", lossy: isOpus || isVorbis, rate };
    }
    if (text(4, 4) === "ftyp") {
      return { ...unknown, container: "M4A", codec: "AAC", lossy: true };
    }
    return describeMp3(bytes, view, text) ?? unknown;
  } catch (error) {
    if (error instanceof RangeError) {
      return unknown; // the header is cut off
    }
    throw error;
  }
}

function describeMp3(bytes, view, text) {
  let at = 0;
  if (text(0, 3) === "ID3") {
    at = 10 + bytes.subarray(6, 10).reduce((size, byte) => size * 128 + byte, 0);
  }
  if (at + 4 > bytes.length) {
    return { ...unknown, container: "MP3", codec: "MPEG layer III", lossy: true };
  }
  const header = view.getUint32(at);
  const isFrame = header >>> 21 === 0x7ff && ((header >> 17) & 3) === 1;
  const rate = [44100, 48000, 32000][(header >> 10) & 3];
  if (!isFrame || !rate) {
    return null;
  }
  const version = (header >> 19) & 3; // 3 is MPEG 1, 2 is MPEG 2 with half the rate, 0 is 2.5
  return { ...unknown, container: "MP3", codec: "MPEG layer III", lossy: true, rate: rate / { 3: 1, 2: 2, 0: 4 }[version] };
}

async function describeWav(file) {
  let format = null;
  for (let at = 12; at + 8 <= file.size; ) {
    const head = new DataView(await file.slice(at, at + 8).arrayBuffer());
    const id = String.fromCharCode(...new Uint8Array(head.buffer, 0, 4));
    const size = head.getUint32(4, true);
    if (id === "fmt ") {
      format = new Uint8Array(await file.slice(at + 8, at + 8 + size).arrayBuffer());
    } else if (id === "data" && format) {
      const end = size === 0 || at + 8 + size > file.size ? file.size : at + 8 + size;
      return wavOf(format, at + 8, end);
    }
    at += 8 + size + (size % 2);
  }
  return { ...unknown, container: "WAV" };
}

function wavOf(format, start, end) {
  const view = new DataView(format.buffer);
  const isExtensible = view.getUint16(0, true) === 0xfffe;
  const tag = view.getUint16(isExtensible ? 24 : 0, true);
  const bits = view.getUint16(14, true);
  const codec = { 1: `${bits}-bit PCM`, 3: `${bits}-bit float` }[tag] ?? "compressed";
  return {
    container: isExtensible ? "WAV (extensible)" : "WAV",
    codec,
    bits,
    lossy: false,
    rate: view.getUint32(4, true),
    pieces: tag === 1 || tag === 3 ? { format, blockAlign: view.getUint16(12, true), start, end } : undefined,
  };
}
