// Tries the page as its users do. The files are made by scripts/check-page, the folder of them is in
// KESTREL7_PAGE_FILES.
import assert from "node:assert/strict";
import { readFileSync, readdirSync, statSync } from "node:fs";
import { createServer } from "node:http";
import { createRequire } from "node:module";
import { after, afterEach, before, beforeEach, test } from "node:test";

const require = createRequire(new URL("../../build/page/package.json", import.meta.url));
const { chromium } = require("playwright-core");
const { unzipSync } = require("fflate");

const folder = process.env.KESTREL7_PAGE_FILES;
const pageUrl = `file://${folder}/alone/kestrel7.html`;
const allSure = "All 40 presets are sure.";

let browser;
let page;
let errors; // of the page's own code

before(async () => {
  browser = await chromium.launch({
    executablePath: "/usr/bin/chromium",
    args: ["--no-sandbox", "--disable-gpu", "--disable-quic", "--no-first-run", "--disable-background-networking",
      "--disable-component-update", "--disable-sync"],
  });
});
after(() => browser.close());
beforeEach(() => openPage());
afterEach(async () => {
  await page.context().close();
  assert.deepEqual(errors, []);
});

async function openPage(options = {}) {
  const context = await browser.newContext({ viewport: { width: 1400, height: 900 }, ...options });
  page = await context.newPage();
  errors = [];
  page.on("pageerror", (error) => errors.push(error));
  await page.goto(pageUrl);
}

const file = (name) => `${folder}/${name}`;

/** Chooses files and returns what the page says of them: the verdict or the error. */
async function answerTo(...names) {
  await page.setInputFiles("#files", names.map(file));
  return answer();
}

async function answer() {
  await page.waitForFunction(() => document.querySelector("#work").hidden &&
    (document.querySelector("#error").textContent || document.querySelector("#status").textContent));
  return (await page.textContent("#error")) || page.textContent("#verdict");
}

const verdicts = () => page.$$eval(".card svg", (cards) => cards.map((card) => card.ariaLabel.split(", ")[1]));
const chosenCard = () => page.getAttribute(".card[aria-pressed=true] svg", "aria-label");

/** The times at the ends of the wave as it is shown, in seconds. */
async function view() {
  const before = await page.textContent("#place");
  await page.waitForFunction((text) => document.querySelector("#place").textContent !== text, before, { timeout: 2000 }).catch(() => {});
  const times = (await page.textContent("#place")).match(/(\d+):([\d.]+) to (\d+):([\d.]+)/).slice(1).map(Number);
  return [60 * times[0] + times[1], 60 * times[2] + times[3]];
}

/** What a button gives to take away. */
async function taken(kind) {
  const [download] = await Promise.all([page.waitForEvent("download"), page.click(`[data-file=${kind}]`)]);
  return readFileSync(await download.path());
}

function filesIn(name) {
  return Object.fromEntries(readdirSync(file(name)).map((each) => [each, readFileSync(file(`${name}/${each}`), "latin1")]));
}

function filesInZip(bytes) {
  return Object.fromEntries(Object.entries(unzipSync(bytes)).map(([name, content]) => [name, Buffer.from(content).toString("latin1")]));
}

test("the page is small", () => assert.ok(statSync(file("alone/kestrel7.html")).size <= 300_000));

for (const name of ["tape.wav", "tape.mp3", "tape.flac", "extensible.wav", "padded.wav"]) {
  test(`${name} is read`, async () => assert.equal(await answerTo(name), allSure));
}

test("the sample", async () => {
  await page.click("#sample");
  assert.equal(await answer(), allSure);
  assert.equal((await verdicts()).length, 40);
});

test("drop-outs cost presets, a second take brings them back", async () => {
  assert.notEqual(await answerTo("drop-outs.wav"), allSure);
  assert.ok((await verdicts()).includes("doubtful"));
  assert.notEqual(await answerTo("second-take.wav"), allSure);
  assert.equal(await answerTo("drop-outs.wav", "second-take.wav"), allSure);
});

test("takes of different dumps are refused", async () =>
  assert.match(await answerTo("tape.wav", "other.wav"), /tape.wav and other.wav/));

test("what is taken is what the programs write", async () => {
  await answerTo("tape.wav");
  assert.deepEqual(filesInZip(await taken("zip")), filesIn("revision3"));
  assert.deepEqual(await taken("syx"), readFileSync(file("bank.syx")));
  assert.deepEqual(await taken("wav"), readFileSync(file("tape.wav")));
  assert.equal((await taken("html")).toString().match(/id="preset\d-\d"/g).length, 40);
  await page.check("input[value='1']");
  assert.deepEqual(filesInZip(await taken("zip")), filesIn("revision1"));
});

test("a bank", async () => {
  await answerTo("bank.syx");
  assert.equal((await verdicts()).length, 40);
  assert.deepEqual(filesInZip(await taken("zip")), filesIn("revision3"));
  assert.deepEqual(await taken("wav"), readFileSync(file("tape.wav")));
  await page.click(".card");
  assert.equal(await page.textContent("#preset-text"), filesIn("revision3")["preset1-1.txt"]);
});

for (const [name, expected] of [
  ["notes.wav", /not audio/],
  ["short.syx", /not a complete SysEx bank.*2,001 bytes/],
  ["silence.wav", /no dump.*silence/],
  ["tone.wav", /no dump.*steady tone of 440 Hz/],
  ["noise.wav", /no dump.*noise/],
  ["voice.wav", /no dump.*voice/],
  ["empty.wav", /no sound/],
]) {
  test(`${name} gets a sentence, and what was there stays`, async () => {
    await answerTo("tape.wav");
    assert.match(await answerTo(name), expected);
    assert.equal(await page.textContent("#verdict"), allSure);
    assert.deepEqual(await taken("syx"), readFileSync(file("bank.syx")));
  });
}

test("a lack of memory gets a sentence", async () => {
  await page.evaluate(() => {
    OfflineAudioContext.prototype.decodeAudioData = () => Promise.reject(new RangeError("Array buffer allocation failed"));
  });
  assert.match(await answerTo("tape.mp3"), /too little memory for tape.mp3/);
});

test("files are dropped", async () => {
  const client = await page.context().newCDPSession(page);
  for (const type of ["dragEnter", "dragOver", "drop"]) {
    await client.send("Input.dispatchDragEvent", {
      type, x: 700, y: 600, data: { items: [], files: [file("drop-outs.wav"), file("second-take.wav")], dragOperationsMask: 1 },
    });
  }
  assert.equal(await answer(), allSure);
});

test("work is cancelled, and what was there stays", async () => {
  await answerTo("tape.wav");
  await page.setInputFiles("#files", file("padded.wav"));
  await page.click("#cancel");
  await page.waitForFunction(() => document.querySelector("#status").textContent === "Cancelled.");
  assert.equal(await page.textContent("#recording-title"), "tape.wav");
});

test("the wave is explored", async () => {
  await answerTo("tape.wav");
  await page.hover("canvas");
  for (let i = 0; i < 60; ++i) {
    await page.mouse.wheel(0, -200);
  }
  const [start, end] = await view();
  assert.ok(end - start < 0.003, "the wheel zooms in to single half-periods");
  await page.focus("canvas");
  await page.keyboard.press("ArrowRight");
  assert.ok((await view())[0] > start, "the arrow moves on");
  await page.keyboard.press("Home");
  assert.deepEqual(await view(), [0, 29.38]);
  await page.mouse.down();
  await page.mouse.up();
  const picked = await chosenCard();
  assert.match(picked, /3-4/, "a click shows the card of the middle");
  await page.click("[aria-label^='Preset 5-8']");
  assert.ok((await view())[0] > 27, "a card shows its place");
});

test("the wave of a long recording is drawn in time", async () => {
  await answerTo("padded.wav");
  await page.evaluate(() => {
    const request = globalThis.requestAnimationFrame;
    globalThis.frames = [];
    globalThis.requestAnimationFrame = (draw) => request((time) => {
      const start = performance.now();
      draw(time);
      globalThis.frames.push(performance.now() - start);
    });
  });
  await page.hover("canvas");
  for (let i = 0; i < 100; ++i) {
    await page.mouse.wheel(0, i < 50 ? -200 : 200);
  }
  const frames = (await page.evaluate(() => globalThis.frames)).sort((a, b) => a - b);
  assert.ok(frames.length > 20);
  assert.ok(frames[Math.floor(0.9 * frames.length)] < 32, "nine frames in ten, as other programs may hold one up");
});

test("a doubtful place is shown", async () => {
  await answerTo("drop-outs.wav");
  await page.click("#findings button");
  const [start, end] = await view();
  assert.ok(start > 8 && end < 16);
});

test("a name is no markup", async () => {
  const name = "<img src=x onerror=alert(1)>.wav";
  await page.setInputFiles("#files", { name, mimeType: "audio/wav", buffer: readFileSync(file("tape.wav")) });
  assert.equal(await answer(), allSure);
  assert.equal(await page.textContent("#recording-title"), name);
  assert.equal(await page.locator("img").count(), 0);
});

test("no connection is possible", async () => {
  let requests = 0;
  const server = createServer((_, response) => response.end(String(++requests)));
  await new Promise((resolve) => server.listen(0, "127.0.0.1", resolve));
  const outcomes = await page.evaluate((host) => {
    const outcome = (element, attributes) => new Promise((resolve) => {
      Object.assign(element, { onload: () => resolve("connected"), onerror: () => resolve("refused") }, attributes);
      document.body.append(element);
    });
    navigator.sendBeacon(`http://${host}/`);
    return Promise.all([
      fetch(`http://${host}/`).then(() => "connected", () => "refused"),
      outcome(new Image(), { src: `http://${host}/` }),
      outcome(document.createElement("script"), { src: `http://${host}/` }),
    ]);
  }, `127.0.0.1:${server.address().port}`);
  server.close();
  assert.deepEqual(outcomes, ["refused", "refused", "refused"]);
  assert.equal(requests, 0);
});

for (const colorScheme of ["light", "dark"]) {
  test(`nothing bars a user with a screen reader, ${colorScheme}`, async () => {
    await page.emulateMedia({ colorScheme });
    await answerTo("drop-outs.wav");
    await page.click(".card");
    await page.addScriptTag({ path: require.resolve("axe-core/axe.min.js") });
    const { violations } = await page.evaluate(() => globalThis.axe.run());
    assert.deepEqual(violations.filter(({ impact }) => ["serious", "critical"].includes(impact)).map(({ id, nodes }) => [id, nodes[0].html]), []);
  });
}

test("all is done by the keyboard", async () => {
  await answerTo("tape.wav");
  const reached = new Set();
  for (let i = 0; i < 30; ++i) {
    await page.keyboard.press("Tab");
    reached.add(await page.evaluate(() => document.activeElement.dataset.file ?? document.activeElement.localName));
  }
  for (const each of ["zip", "syx", "wav", "html", "canvas", "button"]) {
    assert.ok(reached.has(each), each);
  }
});

test("a phone", async () => {
  await page.context().close();
  await openPage({ viewport: { width: 360, height: 740 }, deviceScaleFactor: 3, hasTouch: true, isMobile: true });
  await page.tap("#sample");
  assert.equal(await answer(), allSure);
  assert.equal(await page.evaluate(() => document.documentElement.scrollWidth), 360);
  const client = await page.context().newCDPSession(page);
  await page.locator("canvas").scrollIntoViewIfNeeded();
  const box = await page.locator("canvas").boundingBox();
  const fingers = (apart) => [-apart, apart].map((by, id) => ({ x: box.x + box.width / 2 + by, y: box.y + 120, id }));
  await client.send("Input.dispatchTouchEvent", { type: "touchStart", touchPoints: fingers(20) });
  await client.send("Input.dispatchTouchEvent", { type: "touchMove", touchPoints: fingers(100) });
  await client.send("Input.dispatchTouchEvent", { type: "touchEnd", touchPoints: [] });
  const [start, end] = await view();
  assert.ok(end - start < 10, "two fingers zoom in");
});
