// Scans: from files, folders and the sample, with what they are checked for before they are read whole.

import { isNIFTI, readHeader } from "nifti-reader-js";
import { bytesText } from "./elements.js";
import { unpacked } from "./gzip.js";

export interface Scan {
  name: string;
  blob: Blob;
  size: [number, number, number];
}

/** Voxels of the largest scan: beyond them the computation would need more than the 4 GB that WebAssembly addresses. */
export const MOST_VOXELS = 20_000_000;
/** The largest file that is read, packed or not: MOST_VOXELS in the widest type of numbers. */
export const MOST_BYTES = 512e6;
const LEAST_HEADER_BYTES = 348;
const MOST_HEADER_BYTES = 544;  // of NIfTI-2

export function sizeText(size: readonly number[]): string {
  return size.join(" × ");
}

export function isNiftiName(name: string): boolean {
  return /\.nii(\.gz)?$/i.test(name);
}

/** A NIfTI file, whose header alone is looked at.
 * @throws Error  with a sentence for people. */
export async function openNifti(file: File): Promise<Scan> {
  if (!isNiftiName(file.name))
    throw new Error(`${file.name} is no NIfTI file: its name ends in neither .nii nor .nii.gz. DICOM is read from a folder.`);
  if (file.size > MOST_BYTES)
    throw new Error(`${file.name} has ${bytesText(file.size)}: this page takes files up to ${bytesText(MOST_BYTES)}, ` +
                    "since WebAssembly addresses 4 GB. The command-line hosts take larger ones.");
  const header = headerIn((await unpacked(file, MOST_HEADER_BYTES)).buffer);
  if (!header) throw new Error(`${file.name} is damaged or no NIfTI image.`);
  const [count = 0, x = 1, y = 1, z = 1, ...others] = header.dims.map(Number);
  if (count > 3 && others.slice(0, count - 3).some((length) => length > 1))
    throw new Error(`${file.name} has more than three dimensions.`);
  const size: Scan["size"] = [x, count > 1 ? y : 1, count > 2 ? z : 1];
  const voxels = size[0] * size[1] * size[2];
  if (!(voxels >= 1)) throw new Error(`${file.name} is damaged or no NIfTI image.`);
  if (voxels > MOST_VOXELS)
    throw new Error(`${file.name} has ${sizeText(size)} voxels, ${(voxels / 1e6).toFixed(1)} million: this page takes up to ` +
                    `${MOST_VOXELS / 1e6} million, since WebAssembly addresses 4 GB. The command-line hosts take larger ones.`);
  return { name: file.name, blob: file, size };
}

function headerIn(start: ArrayBuffer) {
  try {
    return start.byteLength >= LEAST_HEADER_BYTES && isNIFTI(start) ? readHeader(start) : null;
  } catch {
    return null;  // it ends within
  }
}

/** All files of what was dropped: of folders those inside. */
export async function droppedFiles(transfer: DataTransfer): Promise<File[]> {
  const entries = [...transfer.items].map((item) => item.webkitGetAsEntry?.() ?? null);
  if (entries.length === 0 || entries.includes(null)) return [...transfer.files];
  const files: File[] = [];
  for (const entry of entries) await addFiles(entry!, files);
  return files;
}

async function addFiles(entry: FileSystemEntry, files: File[]): Promise<void> {
  if (entry.isFile) {
    const file = await new Promise<File>((resolve, reject) => (entry as FileSystemFileEntry).file(resolve, reject));
    // As of a chosen folder, whose files know it: those of two folders often have the same names.
    files.push(Object.assign(file, { _webkitRelativePath: entry.fullPath.slice(1) }));
    return;
  }
  const reader = (entry as FileSystemDirectoryEntry).createReader();
  for (;;) {  // it hands out some at a time
    const entries = await new Promise<FileSystemEntry[]>((resolve, reject) => reader.readEntries(resolve, reject));
    if (entries.length === 0) return;
    for (const inner of entries) await addFiles(inner, files);
  }
}
