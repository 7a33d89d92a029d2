// The command-line hosts on files in memory: the same words, checks, files and reports.

import type { Glue } from "./glue.js";
import { call } from "./memory.js";
import { listenerOf, Operations, type Progress, type Size } from "./operations.js";

export type HostName = "segment_mr" | "denoise_mr";

export interface InputFile {
  /** Without folders. */
  name: string;
  /** Kept by the module until the run ends. */
  bytes: Uint8Array;
}

export interface HostRun {
  /** What the host printed. */
  text: string;
  /** What it wrote into its folder, by name; its report as report.json. */
  files: Map<string, Uint8Array<ArrayBuffer>>;
}

const FOLDER = "/run";
const OUTPUT = "output";
const REPORT = "report.json";

/** The module: the operations, and the hosts. */
export class Mth extends Operations {
  constructor(glue: Glue, private readonly lines: { out: string[]; error: string[] }) {
    super(glue);
  }

  /** Runs a host on files; `words` are its command line, where files stand by their names.
   * @throws Error  with the line in which the host refuses. */
  runHost(name: HostName, words: string[], files: InputFile[], progress?: Progress): HostRun {
    if (name !== "segment_mr" && name !== "denoise_mr") throw new RangeError(`there is no host ${name}`);
    return this.within(files, () => {
      const asked = name === "segment_mr" ? [] : ["--json", REPORT];  // the other writes it in any case
      const status = this.glue.runHost(name, [...words.map(String), "-o", OUTPUT, ...asked], progress && listenerOf(progress));
      if (status !== 0) throw new Error(reasonOf(name, this.lines.error));
      const text = this.lines.out.join("\n");
      if (!this.names(".").includes(OUTPUT)) return { text, files: new Map() };  // it told its options or its version
      const written = this.names(OUTPUT).filter((file) => !file.startsWith("."));
      const results = new Map(written.map((file) => [file, this.glue.FS.readFile(`${OUTPUT}/${file}`)]));
      if (asked.length > 0) results.set(REPORT, this.glue.FS.readFile(REPORT));
      return { text, files: results };
    });
  }

  /** The size of a NIfTI file, compressed or not.
   * @throws Error  when it is damaged or none. */
  readNiftiSize(file: InputFile): Size {
    return this.within([file], () => {
      const bundle = call(this.glue, [], () => this.glue.readGrid(file.name));
      const [x, y, z] = bundle.array("size")!;
      bundle.delete();
      return [x!, y!, z!];
    });
  }

  // With these files in a folder of their own, which is gone afterwards.
  private within<T>(files: InputFile[], run: () => T): T {
    for (const { name, bytes } of files) {
      if (!/^[^/]+$/.test(name) || name === "." || name === "..") throw new RangeError(`no name of a file: ${name}`);
      if (!(bytes instanceof Uint8Array)) throw new RangeError(`${name} is no Uint8Array`);
    }
    this.lines.out.length = this.lines.error.length = 0;
    this.glue.FS.mkdir(FOLDER);
    this.glue.FS.chdir(FOLDER);
    try {
      for (const { name, bytes } of files) this.glue.FS.writeFile(name, bytes, { canOwn: true });
      return run();
    } finally {
      this.glue.FS.chdir("/");
      this.remove(FOLDER);
    }
  }

  private names(path: string): string[] {
    return this.glue.FS.readdir(path).filter((name) => name !== "." && name !== "..");
  }

  private remove(path: string): void {
    const { FS } = this.glue;
    if (!FS.isDir(FS.stat(path).mode)) return FS.unlink(path);
    for (const name of this.names(path)) this.remove(`${path}/${name}`);
    FS.rmdir(path);
  }
}

// The last line that names the host is its own; the library may have said something before.
function reasonOf(name: string, lines: string[]): string {
  const own = lines.filter((line) => line.startsWith(`${name}: `)).pop();
  return own ? own.slice(name.length + 2) : lines.join(" ") || "the run failed";
}
