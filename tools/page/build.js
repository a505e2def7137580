// Puts the page together: node build.js CORE FFLATE VERSION >kestrel7.html
import { readFileSync } from "node:fs";
import { gzipSync } from "node:zlib";

const [coreFile, fflateFolder, version] = process.argv.slice(2);
const source = (name) => readFileSync(new URL(name, import.meta.url), "utf8");
const base64 = (bytes) => bytes.toString("base64");

/** A module and all that it imports, each once, as one script. */
function bundle(name, seen = new Set()) {
  if (seen.has(name)) {
    return "";
  }
  seen.add(name);
  const imported = [];
  const own = source(name)
    .replace(/^import .* from "\.\/(.*)";\n/gm, (_, other) => {
      imported.push(bundle(other, seen));
      return "";
    })
    .replace(/^export /gm, "");
  return imported.join("") + own;
}

const core = readFileSync(coreFile);
const nothing = () => 0;
const { instance } = await WebAssembly.instantiate(core, {
  wasi_snapshot_preview1: new Proxy({}, { get: () => nothing }),
  env: { outOfMemory: nothing },
});
const { memory, output, ...functions } = instance.exports;
const textOf = (name) => {
  const size = functions[name]();
  return Buffer.from(memory.buffer, output(), size).toString();
};
functions._initialize();

const parts = {
  "page-style": textOf("pageStyle"),
  "cards-caption": textOf("cardsCaption"),
  "card-definition": textOf("cardDefinition"),
  "style.css": source("style.css"),
  version,
  licences: `${source("../../LICENSE")}\nfflate\n\n${readFileSync(`${fflateFolder}/LICENSE`, "utf8")}`,
  core: base64(gzipSync(core, { level: 9 })),
  "sample-bank": base64(readFileSync(new URL("../../examples/bank.syx", import.meta.url))),
  "worker.js": bundle("worker.js"),
  fflate: readFileSync(`${fflateFolder}/umd/index.js`, "utf8"),
  "main.js": bundle("main.js"),
};
process.stdout.write(source("index.html").replace(/\{\{(.*?)\}\}/g, (_, name) => {
  if (/<\/script/i.test(parts[name])) {
    throw new Error(`${name} would end the script that holds it`);
  }
  return parts[name];
}));
