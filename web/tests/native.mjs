// What the tests compare with: the hosts of the native build.
import { execFile } from "node:child_process";
import { mkdtemp, readdir, readFile } from "node:fs/promises";
import { tmpdir } from "node:os";
import { basename, join } from "node:path";
import { fileURLToPath } from "node:url";
import { promisify } from "node:util";

const run = promisify(execFile);
export const root = fileURLToPath(new URL("../..", import.meta.url));
export const samplePath = join(root, "data/t1_brain_axial.nii.gz");
export const sampleName = basename(samplePath);

/** A folder of this run's own, in that of the system. */
export const newFolder = () => mkdtemp(join(tmpdir(), "mth-web-"));

/** Runs a host on files of a folder; gives what it wrote, by name. */
export async function runNative(host, words, folder) {
  const output = await newFolder();
  const program = join(process.env.MTH_BINARY_DIR, "examples", host, host);
  const report = join(await newFolder(), "report.json");
  await run(program, [...words, "-o", output, "--json", report], { cwd: folder, maxBuffer: 1e8 });
  const names = (await readdir(output)).filter((name) => !name.startsWith("."));
  const files = new Map(await Promise.all(names.map(async (name) => [name, await readFile(join(output, name))])));
  return files.set("report.json", await readFile(report));
}

/** A report without what no two runs share: its seconds, its memory, and the file of its own. */
export function comparable(report) {
  const { seconds, peak_memory_mib: memory, ...rest } = JSON.parse(Buffer.from(report).toString());
  return rest;
}
