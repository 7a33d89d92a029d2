// Parts of the page that stand in scripts beside it, so that it works from a file as well as from a server: a worker's
// source and a WebAssembly binary each.

export interface Part {
  worker: string;
  /** In base64; empty where the worker has it inside. */
  wasm: string;
}

const parts = new Map<string, Promise<Part>>();

declare global {
  var mthParts: Record<string, Part> | undefined;
}

/** Loads `NAME.js` once. */
export function loadPart(name: string): Promise<Part> {
  let part = parts.get(name);
  if (!part) {
    part = new Promise<Part>((resolve, reject) => {
      const script = document.createElement("script");
      script.src = `${name}.js`;
      script.onload = () => resolve(globalThis.mthParts![name]!);
      script.onerror = () => {
        parts.delete(name);
        reject(new Error(`A part of this page, ${name}.js, is missing beside it.`));
      };
      document.head.append(script);
    });
    parts.set(name, part);
  }
  return part;
}

/** A worker of that source. */
export function startWorker(source: string): Worker {
  const url = URL.createObjectURL(new Blob([source], { type: "text/javascript" }));
  const worker = new Worker(url);
  URL.revokeObjectURL(url);
  return worker;
}

export function bytesOfBase64(text: string): Uint8Array<ArrayBuffer> {
  const binary = atob(text);
  const bytes = new Uint8Array(binary.length);
  for (let i = 0; i < binary.length; ++i) bytes[i] = binary.charCodeAt(i);
  return bytes;
}
