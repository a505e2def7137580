// The sizes of a dump.
export const presetCount = 40;
export const bitsPerPreset = 192;
export const bitCount = presetCount * bitsPerPreset;
