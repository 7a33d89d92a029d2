// Processor seconds of segment_mr in the module and in its native build, run by run in turn:
//   node web/compare.mjs build/release web/module/dist SCAN [RUNS [plain]]
import { execFileSync } from "node:child_process";
import { mkdtempSync, readFileSync, rmSync } from "node:fs";
import { tmpdir } from "node:os";
import { basename, join, resolve } from "node:path";
import { pathToFileURL } from "node:url";

const [build, module, scan, runs = "5", kind = "simd"] = process.argv.slice(2);
const { loadMth } = await import(pathToFileURL(resolve(module, "index.js")).href);
const mth = await loadMth({ simd: kind === "simd" });
const bytes = readFileSync(scan);
const folder = mkdtempSync(join(tmpdir(), "mth-compare-"));
const program = join(build, "examples/segment_mr/segment_mr");

const median = (values) => [...values].sort((a, b) => a - b)[Math.floor(values.length / 2)];
const inModule = [];
const native = [];
mth.runHost("segment_mr", [basename(scan)], [{ name: basename(scan), bytes: Uint8Array.from(bytes) }]); // compiled on the way
for (let run = 0; run < Number(runs); ++run) {
  const start = process.cpuUsage();
  mth.runHost("segment_mr", [basename(scan)], [{ name: basename(scan), bytes: Uint8Array.from(bytes) }]);
  inModule.push(process.cpuUsage(start).user / 1e6);
  const timed = 'TIMEFORMAT=%U; { time "$0" "$1" -o "$2" >/dev/null; } 2>&1';
  native.push(Number(execFileSync("bash", ["-c", timed, program, scan, folder], { encoding: "utf8" })));
}
rmSync(folder, { recursive: true });
console.log(`module ${median(inModule).toFixed(2)} s, native ${median(native).toFixed(2)} s, ` +
            `ratio ${(median(inModule) / median(native)).toFixed(2)} (medians of ${runs})`);
