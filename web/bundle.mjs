// Bundles the page of page/: index.html, and scripts beside it that need no server. `node bundle.mjs MODULE SITE`: the folder of
// the module's builds, of which a quick one has one alone, and that of the page.
import { build } from "esbuild";
import { copyFile, mkdir, readdir, readFile, rm, stat, writeFile } from "node:fs/promises";
import { join } from "node:path";
import { fileURLToPath } from "node:url";

const here = fileURLToPath(new URL(".", import.meta.url));
const [built, dist] = process.argv.slice(2);
const modules = join(here, "node_modules");
const settings = { bundle: true, minify: true, write: false, target: "es2021", legalComments: "none", logLevel: "warning" };

const textOf = async (options) => (await build({ ...settings, format: "iife", ...options })).outputFiles[0].text;
const base64 = async (path) => (await readFile(path)).toString("base64");

/** A part of the page: a script that sets a worker's source and a binary, for pages whose origin is a file. */
async function writePart(name, worker, wasm) {
  const part = JSON.stringify({ worker, wasm });
  await writeFile(join(dist, `${name}.js`), `(globalThis.mthParts??={})[${JSON.stringify(name)}]=${part};\n`);
}

async function writeEngine(kind) {
  const glue = join(built, `mth-${kind}.mjs`);
  if (!(await stat(glue).catch(() => null))) return;
  const worker = await textOf({ entryPoints: [join(here, "page/worker.ts")], alias: { "mth-glue": glue } });
  await writePart(`engine-${kind}`, worker, await base64(join(built, `mth-${kind}.wasm`)));
}

// The converter asks for its binary by its own address, which a worker without a file does not have.
async function writeDicom() {
  const folder = join(modules, "@niivue/dcm2niix/dist");
  const wasm = await base64(join(folder, "dcm2niix.jpeg.wasm"));
  const worker = await textOf({
    entryPoints: [join(folder, "worker.jpeg.js")],
    define: { "import.meta.url": '"https://dicom.invalid/"' }, external: ["module"],
    banner: { js: `const dicomBinary=Uint8Array.from(atob("${wasm}"),(c)=>c.charCodeAt(0));` +
                  'self.fetch=async()=>new Response(dicomBinary,{headers:{"content-type":"application/wasm"}});' },
  });
  await writePart("dicom", worker, "");
}

// What the licences of the parts ask for.
async function notices() {
  const texts = [`The sample scan\n\n${await readFile(join(here, "../data/NOTICE.md"), "utf8")}`,
                 `mth\n\n${await readFile(join(here, "../LICENSE"), "utf8")}`];
  for (const name of ["@niivue/niivue", "@niivue/dcm2niix", "comlink", "nifti-reader-js", "fflate", "gl-matrix", "zarrita"]) {
    const folder = join(modules, name);
    const { license, version } = JSON.parse(await readFile(join(folder, "package.json"), "utf8"));
    const file = (await readdir(folder)).find((entry) => /^licen[cs]e/i.test(entry));
    texts.push(`${name} ${version}, ${license}\n\n${file ? await readFile(join(folder, file), "utf8") : ""}`);
  }
  texts.push("Inside the WebAssembly module: zlib and libpng (their own licences), niftilib (public domain), CLI11 (BSD\n" +
             "3-Clause), JSON for Modern C++ (MIT), musl and LLVM's libc++ (MIT; Apache 2.0 with LLVM exceptions).\n");
  return texts.join(`\n${"-".repeat(80)}\n\n`);
}

await rm(dist, { recursive: true, force: true });
await mkdir(dist, { recursive: true });
await writeFile(join(dist, "app.js"), await textOf({ entryPoints: [join(here, "page/main.ts")] }));
await copyFile(join(here, "page/index.html"), join(dist, "index.html"));
await copyFile(join(here, "page/style.css"), join(dist, "app.css"));
await writeEngine("simd");
await writeEngine("plain");
await writePart("sample", "", await base64(join(here, "../data/t1_brain_axial.nii.gz")));
await writeDicom();
await writeFile(join(dist, "NOTICE.txt"), await notices());
for (const name of await readdir(dist)) console.log(`${name} ${(await stat(join(dist, name))).size}`);
