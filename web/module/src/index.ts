/** The numerical library mth in WebAssembly; README.md shows its use. */

import type { CreateGlue } from "./glue.js";
import type { Mth } from "./hosts.js";
import { hasSimd, instantiate } from "./instance.js";

export { Mth, type HostName, type HostRun, type InputFile } from "./hosts.js";
export { hasSimd } from "./instance.js";
export * from "./operations.js";
export type { AnyNumbers, Found, Numbers } from "./memory.js";

export interface LoadOptions {
  /** Whether to take the build with vectors; without it where the engine has them. */
  simd?: boolean;
  /** The binary of that build, for those who bring it themselves. */
  wasm?: ArrayBuffer | Uint8Array;
}

/** A new instance of the module, with a memory of its own. */
export async function loadMth(options: LoadOptions = {}): Promise<Mth> {
  const name = (options.simd ?? hasSimd()) ? "mth-simd" : "mth-plain";
  const { default: create } = (await import(`./${name}.mjs`)) as { default: CreateGlue };
  return instantiate(create, options.wasm ?? (await fetchBinary(`./${name}.wasm`)));
}

// From beside this file; Node's fetch reads no files.
async function fetchBinary(name: string): Promise<ArrayBuffer | Uint8Array> {
  const url = new URL(name, import.meta.url);
  if (url.protocol === "file:") return (await import("node:fs/promises")).readFile(url);
  const answer = await fetch(url);
  if (!answer.ok) throw new Error(`cannot load ${name}: ${answer.status}`);
  return answer.arrayBuffer();
}
