/* global fflate */

// Zip files made of the same presets are the same, byte for byte.
const zipTime = new Date(1980, 0, 1);

/** Puts what the user takes into a file. `cards` are those of the revision chosen. */
export async function download(kind, session, cards, presets, baseName) {
  const makers = {
    zip: () => ["transfer.zip", "application/zip", zipOf(cards, presets)],
    syx: async () => ["bank.syx", "application/octet-stream", await session.call("sysexFile")],
    wav: async () => ["clean.wav", "audio/wav", await session.call("wavFile")],
    html: async () => ["report.html", "text/html", await session.call("htmlReport")],
  };
  const [ending, type, bytes] = await makers[kind]();
  const link = document.createElement("a");
  link.href = URL.createObjectURL(new Blob([bytes], { type }));
  link.download = `${baseName}-${ending}`;
  link.click();
  setTimeout(() => URL.revokeObjectURL(link.href), 60000);
}

function zipOf(cards, presets) {
  const files = {};
  cards.forEach(({ text }, record) => {
    const { group, number } = presets[record];
    files[`preset${group}-${number}.txt`] = fflate.strToU8(text);
  });
  return fflate.zipSync(files, { mtime: zipTime });
}
