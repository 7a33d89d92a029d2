// Instances of the module.

import type { CreateGlue } from "./glue.js";
import { Mth } from "./hosts.js";

/** Whether this engine runs the build with vectors, which takes WebAssembly's own exceptions, too. */
export function hasSimd(): boolean {
  // A function that tries nothing and catches all, then counts the bits of a number in every lane of a vector.
  const code = [0, 6, 64, 25, 11, 65, 0, 253, 15, 253, 98, 11];
  const module = [0, 97, 115, 109, 1, 0, 0, 0, 1, 5, 1, 96, 0, 1, 123, 3, 2, 1, 0, 10, code.length + 2, 1, code.length, ...code];
  return WebAssembly.validate(new Uint8Array(module));
}

/** A new instance, with a memory of its own, of a build's glue and binary. */
export async function instantiate(create: CreateGlue, wasmBinary: ArrayBuffer | Uint8Array): Promise<Mth> {
  const lines = { out: [] as string[], error: [] as string[] };
  const glue = await create({
    wasmBinary,
    print: (line) => lines.out.push(line),
    printErr: (line) => lines.error.push(line),
  });
  return new Mth(glue, lines);
}
