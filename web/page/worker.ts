// The worker: one instance of the module, which runs one host at a time.

import { expose, transfer } from "comlink";
import createGlue from "mth-glue";
import type { HostName, Mth } from "../module/src/hosts.js";
import { instantiate } from "../module/src/instance.js";
import type { Progress, Size } from "../module/src/operations.js";

export interface Answer {
  text: string;
  files: [name: string, bytes: Uint8Array<ArrayBuffer>][];
  seconds: number;
}

/** A file by the name that the command line has for it. */
export interface NamedFile {
  name: string;
  blob: Blob;
}

let mth: Mth | undefined;

async function bytesOf({ name, blob }: NamedFile) {
  return { name, bytes: new Uint8Array(await blob.arrayBuffer()) };
}

const service = {
  async load(wasm: ArrayBuffer): Promise<void> {
    mth = await instantiate(createGlue, wasm);
  },

  async readSize(file: NamedFile): Promise<Size> {
    return mth!.readNiftiSize(await bytesOf(file));
  },

  async run(host: HostName, words: string[], files: NamedFile[], progress: Progress): Promise<Answer> {
    const start = performance.now();
    const { text, files: written } = mth!.runHost(host, words, await Promise.all(files.map(bytesOf)), progress);
    const answer = { text, files: [...written], seconds: (performance.now() - start) / 1000 };
    return transfer(answer, answer.files.map(([, bytes]) => bytes.buffer));
  },
};

export type Service = typeof service;
expose(service);
