// Scans for the tests of the page, as files in a folder.
import { open, readFile, writeFile } from "node:fs/promises";
import { join } from "node:path";
import { gunzipSync } from "node:zlib";
import { samplePath } from "./native.mjs";

const START = 352; // of the voxels
const PLANES = 181;

/** The sample as a volume of 181 x 217 x 181, whose planes grow darker to both ends. */
export async function writeVolume(folder) {
  const plane = gunzipSync(await readFile(samplePath));
  const header = Buffer.from(plane.subarray(0, START));
  header.writeInt16LE(3, 40);
  header.writeInt16LE(PLANES, 46);
  const planes = Array.from({ length: PLANES }, (_, z) => {
    const share = 1 - Math.abs(z - 90) / 150;
    return plane.subarray(START).map((value) => Math.round(value * share));
  });
  const path = join(folder, "volume.nii");
  await writeFile(path, Buffer.concat([header, ...planes]));
  return path;
}

/** A compressed NIfTI file of bytes as NIfTI-2. */
export function secondForm(packed) {
  const first = gunzipSync(packed);
  const header = Buffer.alloc(544);
  header.writeInt32LE(540, 0);
  header.write("n+2\0\r\n\x1a\n", 4, "latin1");
  for (const [offset, from] of [[12, 70], [14, 72]]) header.writeInt16LE(first.readInt16LE(from), offset);
  for (let axis = 0; axis < 8; ++axis) {
    header.writeBigInt64LE(BigInt(first.readInt16LE(40 + 2 * axis)), 16 + 8 * axis);
    header.writeDoubleLE(1, 104 + 8 * axis);
  }
  header.writeBigInt64LE(BigInt(header.length), 168);
  header.writeInt32LE(1, 348); // as a scanner has it, by three rows
  for (let row = 0; row < 3; ++row) header.writeDoubleLE(1, 400 + 40 * row);
  return Buffer.concat([header, first.subarray(START)]);
}

/** Files that are refused, with what the page says of each. */
export async function writeBadFiles(folder) {
  const sample = await readFile(samplePath);
  const huge = gunzipSync(sample).subarray(0, START);
  for (const [offset, length] of [[40, 3], [42, 512], [44, 512], [46, 400]]) huge.writeInt16LE(length, offset);
  const files = {
    "notes.txt": ["A text.", /notes\.txt is no NIfTI file/],
    "text.nii": ["Nothing but words. ".repeat(50), /text\.nii is damaged or no NIfTI image/],
    "empty.nii.gz": ["", /empty\.nii\.gz is damaged/],
    "cut.nii.gz": [sample.subarray(0, 6000), /damaged or not a NIfTI image: cut\.nii\.gz/i],
    "huge.nii": [huge, /512 × 512 × 400 voxels.*up to \d+ million/],
  };
  for (const [name, [bytes]] of Object.entries(files)) await writeFile(join(folder, name), bytes);
  const sparse = await open(join(folder, "sparse.nii"), "w");
  await sparse.truncate(3e9);
  await sparse.close();
  return [...Object.entries(files).map(([name, [, sentence]]) => [join(folder, name), sentence]),
          [join(folder, "sparse.nii"), /sparse\.nii has 3\.0 GB: this page takes files up to/]];
}

/** One slice of MR as DICOM: explicit lengths, little end first. */
function dicomSlice(number) {
  const uid = (part) => `1.2.826.0.1.3680043.9.7133.${part}`;
  const even = (text) => (text.length % 2 ? text + (/^[\d.]+$/.test(text) && text.includes(".826.") ? "\0" : " ") : text);
  const element = (group, tag, kind, value) => {
    const bytes = Buffer.isBuffer(value) ? value : Buffer.from(even(String(value)), "latin1");
    const isLong = kind === "OW" || kind === "OB";
    const head = Buffer.alloc(isLong ? 12 : 8);
    head.writeUInt16LE(group, 0);
    head.writeUInt16LE(tag, 2);
    head.write(kind, 4, "latin1");
    if (isLong) head.writeUInt32LE(bytes.length, 8);
    else head.writeUInt16LE(bytes.length, 6);
    return Buffer.concat([head, bytes]);
  };
  const short = (value) => Buffer.from(Uint16Array.of(value).buffer);
  const side = 32;
  const voxels = Uint16Array.from({ length: side * side }, (_, i) => 100 + 200 * (Math.floor((i % side) / 11) + (number % 2)) + (i % 5));
  const kind = "1.2.840.10008.5.1.4.1.1.4";
  const meta = Buffer.concat([element(2, 2, "UI", kind + "\0"), element(2, 3, "UI", uid(`1.${number}`)), element(2, 0x10, "UI", "1.2.840.10008.1.2.1\0")]);
  const length = Buffer.alloc(4);
  length.writeUInt32LE(meta.length);
  return Buffer.concat([
    Buffer.alloc(128), Buffer.from("DICM"), element(2, 0, "UL", length), meta,
    element(8, 8, "CS", "ORIGINAL\\PRIMARY"), element(8, 0x16, "UI", kind + "\0"), element(8, 0x18, "UI", uid(`1.${number}`)),
    element(8, 0x60, "CS", "MR"), element(8, 0x70, "LO", "SIEMENS"), element(0x18, 0x1030, "LO", "brain"), element(0x18, 0x50, "DS", "3"),
    element(0x20, 0xd, "UI", uid("2")), element(0x20, 0xe, "UI", uid("3")), element(0x20, 0x11, "IS", "4"), element(0x20, 0x13, "IS", number),
    element(0x20, 0x32, "DS", `0\\0\\${3 * number}`), element(0x20, 0x37, "DS", "1\\0\\0\\0\\1\\0"),
    element(0x28, 2, "US", short(1)), element(0x28, 4, "CS", "MONOCHROME2"), element(0x28, 0x10, "US", short(side)),
    element(0x28, 0x11, "US", short(side)), element(0x28, 0x30, "DS", "2\\2"), element(0x28, 0x100, "US", short(16)),
    element(0x28, 0x101, "US", short(16)), element(0x28, 0x102, "US", short(15)), element(0x28, 0x103, "US", short(0)),
    element(0x7fe0, 0x10, "OW", Buffer.from(voxels.buffer)),
  ]);
}

/** A DICOM folder of a series of eight slices. */
export async function writeDicom(folder) {
  for (let number = 1; number <= 8; ++number) await writeFile(join(folder, `${number}.dcm`), dicomSlice(number));
  return folder;
}
