// The page in a browser: what people do with it, and what they do wrong.
import assert from "node:assert/strict";
import { mkdir, readFile, rename } from "node:fs/promises";
import { createRequire } from "node:module";
import { basename, dirname, join } from "node:path";
import { after, before, test } from "node:test";
import { pathToFileURL } from "node:url";
import { idle, launch, openPage, PATIENCE, serve } from "./browser.mjs";
import { comparable, newFolder, runNative, samplePath } from "./native.mjs";
import { secondForm, writeBadFiles, writeDicom, writeVolume } from "./scans.mjs";

const dist = process.env.MTH_WEB_SITE;
const axe = await readFile(createRequire(import.meta.url).resolve("axe-core/axe.min.js"), "utf8");
const screenshots = process.env.MTH_SCREENSHOTS;

let server;
let browser;
let opened;
let page;
before(async () => {
  server = await serve(dist);
  browser = await launch();
  opened = await openPage(browser, `${server.origin}/`, { viewport: { width: 1280, height: 900 } });
  page = opened.page;
});
after(async () => {
  await browser?.close();
  server?.close();
});

const text = (selector) => page.textContent(selector);

async function choose(path) {
  await page.setInputFiles("#file", path);
  await idle(page);
}

async function press(id) {
  await page.click(`#${id}`);
  await idle(page);
  assert.equal(await text("#message"), "");
}

async function saved(name) {
  const [download] = await Promise.all([page.waitForEvent("download"), page.click(`[data-file="${name}"]`)]);
  assert.equal(download.suggestedFilename(), name);
  return readFile(await download.path());
}

/** Without a word on the console, a request elsewhere, or what the policy refuses. */
function assertQuiet({ faults }) {
  assert.deepEqual(faults.splice(0), []);
}

async function assertAccessible() {
  await page.evaluate(axe);
  const { violations } = await page.evaluate(() => globalThis.axe.run());
  assert.deepEqual(violations.map(({ id, nodes }) => [id, nodes.map(({ html }) => html)]), []);
}

test("the sample: denoised and segmented, with the files and reports of the command line", async () => {
  await press("sample");
  assert.match(await text("#scan-name"), /181 × 217 × 1 voxels/);
  await press("denoise");
  const denoised = await runNative("denoise_mr", [basename(samplePath)], dirname(samplePath));
  assert.ok(denoised.get("denoised.nii.gz").equals(await saved("denoised.nii.gz")));
  const { deviations } = comparable(denoised.get("report.json"));
  assert.match(await text("#summary"), new RegExp(`standard deviation ${Number(deviations[0].toPrecision(4))} found, [\\d.]+ s`));
  await press("segment");
  const native = await runNative("segment_mr", [basename(samplePath)], dirname(samplePath));
  for (const name of ["labels.nii.gz", "membership_2.nii.gz", "bias_field.nii.gz"])
    assert.ok(native.get(name).equals(await saved(name)), `${name} differs`);
  const report = comparable(native.get("report.json"));
  assert.deepEqual(comparable(await saved("report.json")), report);
  const [noise] = report.image.noise_deviations;
  assert.match(await text("#summary"), new RegExp(`noise of standard deviation ${Number(noise.toPrecision(4))} found and taken off`));
  for (const { name, voxels, area_mm2: area } of report.classes)
    assert.match(await text("#table"), new RegExp(`${name}.*${voxels}${area.toFixed(2)}`));
  assertQuiet(opened);
});

test("labels lie over the image as the opacity says", { timeout: PATIENCE }, async () => {
  const middle = () => page.locator("#canvas").screenshot();
  const half = await middle();
  await page.fill("#opacity", "0");
  while (half.equals(await middle())); // the next frame has it, whenever that is drawn
  await page.selectOption("#shown", "Scan");
  await page.waitForSelector("#opacity:disabled");
  await page.selectOption("#shown", "Labels");
  await page.waitForSelector("#opacity:enabled");
  await page.fill("#opacity", "50");
});

test("readable and without barriers, wide and narrow, light and dark", async () => {
  for (const [width, scheme] of [[1280, "light"], [375, "dark"]]) {
    await page.setViewportSize({ width, height: 900 });
    await page.emulateMedia({ colorScheme: scheme });
    await assertAccessible();
    assert.ok(await page.evaluate(() => document.documentElement.scrollWidth <= innerWidth), `${width} pixels are too few`);
    if (!screenshots) continue;
    await mkdir(screenshots, { recursive: true });
    await page.evaluate(() => scrollTo(0, 0));
    await page.screenshot({ path: join(screenshots, `web_page_${width}.png`), fullPage: width > 400 });
  }
  await page.setViewportSize({ width: 1280, height: 900 });
});

test("a volume of 181 x 217 x 181: the labels of the command line, in millilitres", async () => {
  const path = await writeVolume(await newFolder());
  await choose(path);
  const words = ["--method=kmeans", "--clusters=3", "--iterations=4", "--threshold=60"];
  for (const word of words) {
    const [option, value] = word.split("=");
    await page.locator(`[id="segment-settings${option}"]`)[option === "--method" ? "selectOption" : "fill"](value);
  }
  assert.equal(await text("#command"), ["segment_mr", "volume.nii", ...words].join(" "));
  await press("segment");
  const native = await runNative("segment_mr", ["volume.nii", ...words], dirname(path));
  assert.ok(native.get("labels.nii.gz").equals(await saved("labels.nii.gz")));
  for (const { volume_ml: volume } of comparable(native.get("report.json")).classes)
    assert.ok((await text("#table")).includes(volume.toFixed(2)));
  assertQuiet(opened);
});

test("Cancel answers in the midst of a run, by the button and by Escape; the next run goes on as ever", async () => {
  await page.locator('[id="segment-settings--method"]').selectOption("tissue");
  for (const cancel of [() => page.click("#cancel"), () => page.keyboard.press("Escape")]) {
    await page.click("#segment");
    await page.waitForFunction(() => document.getElementById("stage-text").textContent.includes("%"));
    await cancel();
    await page.waitForSelector("body:not([data-busy])");
    assert.match(await text("#message"), /Cancelled/);
  }
  await page.focus("#sample");
  await page.keyboard.press("Enter");
  await page.waitForFunction(() => document.getElementById("scan-name").textContent.includes("181 × 217 × 1 "));
  await idle(page);
  await page.fill('[id="segment-settings--clusters"]', "99");
  await page.click("#segment");
  await idle(page);
  assert.match(await text("#message"), /^--clusters: [^(]*\.$/);
  await page.fill('[id="segment-settings--clusters"]', "--help");
  await page.click("#segment");
  await idle(page);
  assert.match(await text("#message"), /--clusters/);
  await page.fill('[id="segment-settings--clusters"]', "");
  assertQuiet(opened);
});

test("files that are none: a sentence each", async () => {
  for (const [path, sentence] of await writeBadFiles(await newFolder())) {
    await choose(path);
    assert.match(await text("#message"), sentence);
    assert.match(await text("#message"), /^[^\n]+\.$/);
  }
  assertQuiet(opened);
});

/** Drops files, by their names, on the page; right after a button was pressed, if one is named. */
const drop = (files, pressed) => page.evaluate(([entries, id]) => {
  if (id) document.getElementById(id).click();
  const dataTransfer = new DataTransfer();
  for (const [name, bytes] of entries) dataTransfer.items.add(new File([Uint8Array.from(bytes)], name));
  document.body.dispatchEvent(new DragEvent("drop", { dataTransfer, bubbles: true, cancelable: true }));
}, [files, pressed]);

test("dropped: in the midst of a run refused in words, afterwards taken; names and headers of every kind", { timeout: PATIENCE }, async () => {
  const sample = [...(await readFile(samplePath))];
  await page.locator('[id="segment-settings--method"]').selectOption("kmeans");
  await drop([["notes.txt", [65]]], "segment");
  await page.waitForFunction(() => /cancel it first/.test(document.getElementById("message").textContent));
  await idle(page);
  for (const [name, bytes] of [["-été (1) & c.nii.gz", sample], ["second.nii", [...secondForm(await readFile(samplePath))]],
                              ["followed by junk.nii.gz", [...sample, 74, 117, 110, 107]]]) {
    await drop([[name, bytes]]);
    await page.waitForFunction((start) => document.getElementById("scan-name").textContent.startsWith(start), `${name}: 181 × 217 × 1 `);
    await idle(page);
    await press("segment");
    assert.match(await text("#summary"), /4 classes/);
  }
  // A mask of the name that a mask would be given.
  await drop([["mask-x.nii.gz", sample]]);
  await page.waitForFunction(() => document.getElementById("scan-name").textContent.startsWith("mask-x"));
  await idle(page);
  await page.setInputFiles('[id="segment-settings--mask"]', { name: "x.nii.gz", mimeType: "", buffer: Buffer.from(sample) });
  assert.match(await text("#command"), /^segment_mr mask-x\.nii\.gz .*--mask=x\.nii\.gz$/);
  await press("segment");
  await page.setInputFiles('[id="segment-settings--mask"]', []);
  assertQuiet(opened);
});

test("a DICOM folder, chosen and dropped", { timeout: PATIENCE }, async () => {
  await page.setInputFiles("#folder", await writeDicom(await newFolder()));
  await idle(page);
  assert.equal(await text("#message"), "");
  assert.match(await text("#scan-name"), /32 × 32 × 8 voxels/);
  // Dropped, with files of the same names in its folders.
  await press("sample");
  const folder = await newFolder();
  for (const half of ["A", "B"]) await mkdir(join(folder, half));
  await writeDicom(folder);
  for (let number = 0; number < 8; ++number)
    await rename(join(folder, `${number + 1}.dcm`), join(folder, number < 4 ? "A" : "B", `IM${number % 4}`));
  await page.evaluate(() => document.getElementById("canvas").scrollIntoView({ block: "start" }));  // on the views
  const devtools = await opened.context.newCDPSession(page);
  for (const type of ["dragEnter", "dragOver", "drop"])
    await devtools.send("Input.dispatchDragEvent", { type, x: 300, y: 100, data: { items: [], files: [folder], dragOperationsMask: 1 } });
  await page.waitForFunction(() => /32 × 32 × 8 voxels/.test(document.getElementById("scan-name").textContent));
  await idle(page);
  assertQuiet(opened);
});

test("from a file, without a server", async () => {
  const local = await openPage(browser, pathToFileURL(join(dist, "index.html")).href);
  await local.page.click("#sample");
  await idle(local.page);
  await local.page.click("#denoise");
  await idle(local.page);
  assert.match(await local.page.textContent("#summary"), /noise of standard deviation/);
  assertQuiet(local);
  await local.context.close();
});
