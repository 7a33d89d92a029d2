// What gzip packed, as zlib reads it: what follows the last member does not count, and of a damaged file there is what comes
// before the damage. The browsers' own streams refuse the one and lose the other.

import { Gunzip } from "fflate";

const CHUNK = 1 << 18;

/** The bytes of a file, at most so many, unpacked if it is packed. */
export async function unpacked(file: Blob, most: number): Promise<Uint8Array<ArrayBuffer>> {
  const mark = new Uint8Array(await file.slice(0, 2).arrayBuffer());
  if (mark[0] !== 0x1f || mark[1] !== 0x8b) return new Uint8Array(await file.slice(0, most).arrayBuffer());
  const parts: Uint8Array[] = [];
  let length = 0;
  const stream = new Gunzip((part) => {
    parts.push(part);
    length += part.length;
  });
  try {
    for (let start = 0; start < file.size && length < most; start += CHUNK)
      stream.push(new Uint8Array(await file.slice(start, start + CHUNK).arrayBuffer()));
  } catch {
    // It ends here.
  }
  const bytes = new Uint8Array(Math.min(length, most));
  let filled = 0;
  for (const part of parts) {
    bytes.set(part.subarray(0, bytes.length - filled), filled);
    filled = Math.min(filled + part.length, bytes.length);
  }
  return bytes;
}
