// The module: its hosts give the native ones' bytes, its operations what mathematics says.
import assert from "node:assert/strict";
import { mkdtemp, readFile, writeFile } from "node:fs/promises";
import { tmpdir } from "node:os";
import { dirname, join } from "node:path";
import { before, test } from "node:test";
import { pathToFileURL } from "node:url";
import { comparable, runNative, sampleName, samplePath } from "./native.mjs";

const { loadMth } = await import(pathToFileURL(`${process.env.MTH_WEB_MODULE}/index.js`).href);

let mth;
let sample;
before(async () => {
  mth = await loadMth({ simd: true });
  sample = await readFile(samplePath);
});

const sampleFile = () => ({ name: sampleName, bytes: Uint8Array.from(sample) });

for (const [host, ...words] of [
  ["segment_mr", "--iterations=7", "--clusters=4"],
  ["segment_mr", "--method=ecm", "--clusters=3", "--iterations=3", "--threshold=-1"],
  ["segment_mr", "--method=tissue", "--no-bias-field", "--sigma=3.7"],
  ["denoise_mr", "--factor=1.5", "--window=3"],
  ["denoise_mr", "--volume"],
]) {
  test(`${host} ${words.join(" ")} writes the bytes of the native host`, async () => {
    const own = mth.runHost(host, [sampleName, ...words], [sampleFile()]);
    const native = await runNative(host, [sampleName, ...words], dirname(samplePath));
    assert.deepEqual([...own.files.keys()].sort(), [...native.keys()].sort());
    for (const [name, bytes] of native) {
      if (name === "report.json") assert.deepEqual(comparable(own.files.get(name)), comparable(bytes));
      else if (name !== "report.txt") assert.ok(bytes.equals(own.files.get(name)), `${name} differs`);
    }
  });
}

test("a host refuses in one sentence, and works again afterwards", () => {
  const refused = (words, files, reason) => assert.throws(() => mth.runHost("segment_mr", words, files), { message: reason });
  refused(["a.nii"], [{ name: "a.nii", bytes: new Uint8Array(400) }], "damaged or not a NIfTI image: a.nii");
  refused([sampleName], [{ name: sampleName, bytes: Uint8Array.from(sample.subarray(0, 5000)) }], `damaged or not a NIfTI image: ${sampleName}`);
  refused([sampleName, "--clusters=65"], [sampleFile()], /--clusters/);
  refused([sampleName, "--alpha=1"], [sampleFile()], "--alpha needs --method ecm");
  refused(["a/b.nii"], [{ name: "a/b.nii", bytes: new Uint8Array(400) }], /name of a file/);
  assert.throws(() => mth.runHost("fit_curve", [], []), /no host/);
  assert.match(mth.runHost("segment_mr", ["--help"], []).text, /--clusters/);
  assert.deepEqual(mth.readNiftiSize(sampleFile()), [181, 217, 1]);
});

test("tissues of planes of pure grey are these greys, in one type or the other, with a mask or without", () => {
  const greys = [30, 80, 110];
  const size = [24, 24, 1];
  for (const type of [Float32Array, Float64Array]) {
    const image = type.from({ length: 576 }, (_, i) => greys[Math.floor(i / 192)] + (i % 7) / 7);
    const found = mth.tissueSegmentation(image, size, { biasField: false });
    assert.deepEqual(Array.from(found.labels), Array.from(image, (_, i) => Math.floor(i / 192) + 1));
    found.centroids.forEach((centroid, k) => assert.ok(Math.abs(centroid - greys[k]) < 1.5));
    assert.ok(found.fractions[0] instanceof type && found.fields.length === 1);
    const masked = mth.tissueSegmentation([image, image], size, { mask: image.map((_, i) => Number(i > 9)) });
    assert.deepEqual([masked.labels.indexOf(0), masked.labels.lastIndexOf(0), masked.channels], [0, 9, 2]);
    masked.free();
    found.free();
  }
});

test("what is allocated goes in without a copy; what is found is gone when it is freed", () => {
  const image = mth.allocate("float32", 1024);
  for (let i = 0; i < 1024; ++i) image[i] = 100 + 8 * Math.sin(i * i);
  const copied = mth.denoise(image.slice(), [32, 32, 1], { noise: 8 });
  const direct = mth.denoise(image, [32, 32, 1], { noise: 8 });
  assert.deepEqual(direct.image, copied.image);
  assert.equal(direct.noise, 8);
  assert.ok(direct.confidence.every((share) => share > 0 && share <= 1));
  mth.release(image);
  direct.free();
  direct.free();
  assert.throws(() => direct.image, /freed/);
  copied.free();
});

test("what lies in the module's memory goes in although that grows on the way, and is given back afterwards", async () => {
  const fresh = await loadMth({ simd: true });
  const samples = fresh.allocate("float32", 4e6);
  const { byteOffset } = samples;
  samples.fill(10).fill(20, 2e6);
  const found = fresh.kMeans(samples, { clusters: 2, init: [9, 21], iterations: 3 });
  assert.equal(samples.length, 0, "the memory did not grow: this tests nothing");
  assert.deepEqual(Array.from(found.centroids), [10, 20]);
  found.free();
  fresh.release(samples);
  fresh.release(samples);
  assert.equal(fresh.allocate("float32", 4e6).byteOffset, byteOffset);
  assert.throws(() => fresh.release(new Float32Array(8).subarray(2)), RangeError);
});

test("clusters of two heaps are their means; progress counts the iterations, whatever it throws", () => {
  const samples = [1, 2, 9, 10];
  const steps = [];
  const hard = mth.kMeans(samples, { clusters: 2, init: "quantiles", progress: (done, all) => steps.push([done, all]) });
  assert.deepEqual([Array.from(hard.centroids), Array.from(hard.labels), hard.reason], [[1.5, 9.5], [0, 0, 1, 1], "converged"]);
  assert.ok(steps.length > 0 && steps.every(([done, all]) => done <= all));
  const { error } = console;
  let reported = 0;
  console.error = () => ++reported;
  const fuzzy = mth.fuzzyCMeans(samples, { clusters: 2, init: [1, 10], tolerance: 0, iterations: 5, progress: () => { throw new Error("no"); } });
  console.error = error;
  assert.ok(reported > 0 && fuzzy.iterations === 5 && fuzzy.reason === "iteration cap");
  for (let i = 0; i < 4; ++i) assert.ok(Math.abs(fuzzy.memberships[2 * i] + fuzzy.memberships[2 * i + 1] - 1) < 1e-12);
});

test("a turn and a shift are found again, in spite of a wrong landmark", () => {
  const first = [0, 0, 0, 10, 0, 0, 0, 10, 0, 0, 0, 10, 5, 5, 5, 9, 2, 3];
  const second = first.map((_, i) => [5 - first[i - (i % 3) + 1], first[i - (i % 3)], first[i] + 1][i % 3]);
  const plain = mth.registerLandmarks(first, second);
  [0, -1, 0, 5, 1, 0, 0, 0, 0, 0, 1, 1, 0, 0, 0, 1].forEach((element, i) => assert.ok(Math.abs(plain.matrix[i] - element) < 1e-9));
  second[17] += 40;
  const robust = mth.registerLandmarks(first, second, { robust: true });
  assert.ok(robust.residuals.slice(0, 5).every((left) => left < 1e-3), `left ${robust.residuals}`);
});

test("texture of a plane of stripes", () => {
  const stripes = Array.from({ length: 64 }, (_, i) => i % 2);
  const [whole] = mth.texture(stripes, [8, 8, 1], { levels: 2 });
  // Contrast is 1 across the stripes and along both diagonals, 0 along them.
  assert.deepEqual([whole.label, whole.voxels, whole.features.contrast], [0, 64, 0.75]);
  const regions = mth.texture(stripes, [8, 8, 1], { levels: 2, labels: stripes.map((_, i) => (i === 63 ? 7 : Number(i < 32))) });
  assert.deepEqual(regions.map(({ label, voxels, features }) => [label, voxels, features === null]), [[1, 32, false], [7, 1, true]]);
});

test("what does not fit is a RangeError with its reason", () => {
  for (const [call, reason] of [
    [() => mth.denoise([1, 2], [1, 1, 1]), /image has 2 values, not 1 x 1 x 1/],
    [() => mth.denoise([], [0, 1, 1]), /size/],
    [() => mth.denoise(undefined, [1, 1, 1]), /image is no array/],
    [() => mth.denoise([1], [1, 1, 1], { noise: NaN }), /noise/],
    [() => mth.tissueSegmentation([5, 5], [2, 1, 1], { voxelSize: [1, 1, 0] }), /voxelSize/],
    [() => mth.tissueSegmentation([5, 5], [2, 1, 1]), /fewer different values/],
    [() => mth.tissueSegmentation([5, 5], [2, 1, 1], { tissues: 17 }), /1 to 16/],
    [() => mth.kMeans([1, 1, 1], { clusters: 2 }), /fewer different samples/],
    [() => mth.kMeans([1, NaN], { clusters: 1 }), /not finite/],
    [() => mth.kMeans([1, 2, 3], { clusters: 1, features: 2 }), /whole rows/],
    [() => mth.fuzzyCMeans([1, 2], { clusters: 2, fuzzifier: 1 }), /fuzzifier/],
    [() => mth.fuzzyCMeans([1, 2], { clusters: 2, init: [1] }), /init/],
    [() => mth.fuzzyCMeans([1, 2], { clusters: 2, fuzzifier: Infinity }), /fuzzifier/],
    [() => mth.kMeans([1, 2], { clusters: 2, init: "random" }), /init is none of/],
    [() => mth.kMeans([1, 2], { clusters: 2, seed: 0.5 }), /seed/],
    [() => mth.fuzzyCMeans([1, 2], { clusters: 2, tolerance: -1 }), /tolerance/],
    [() => mth.allocate("int8", 4), /type/],
    [() => mth.registerLandmarks([0, 0, 0], []), /size/],
    [() => mth.registerLandmarks([1e300, 0, 0, 0, 1e300, 0], [1e300, 0, 0, 0, 1e300, 0]), /too far/],
    [() => mth.texture([0, 1], [2, 1, 1], { labels: [0, 0] }), /no region/],
    [() => mth.texture([0, 1], [2, 1, 1], { levels: 1 }), /levels/],
    [() => mth.texture([0, 1], [2, 1, 1], { labels: [1, 257] }), /0 to 255/],
    [() => mth.texture([0, 1], [2, 1, 1], { range: [1, 0] }), /range/],
    [() => mth.texture([0, 1], [2, 1, 1], { axis: 0 }), /axis/],
  ]) assert.throws(call, (error) => error instanceof RangeError && reason.test(error.message), String(reason));
});

test("the code of the module's README runs", async () => {
  const page = await readFile(new URL("../module/README.md", import.meta.url), "utf8");
  const [, code] = page.match(/```js\n([^`]*)```/);
  const program = join(await mkdtemp(join(tmpdir(), "readme-")), "readme.mjs");
  await writeFile(program, code.replace('"mth-wasm"', JSON.stringify(pathToFileURL(`${process.env.MTH_WEB_MODULE}/index.js`).href)));
  const written = [];
  const log = console.log;
  console.log = (...words) => written.push(words);
  try {
    await import(pathToFileURL(program).href);
  } finally {
    console.log = log;
  }
  assert.deepEqual(written, [[5, 64 * 64]]);
});
