// DICOM folders become NIfTI by dcm2niix, in a worker of its own that ends with the conversion.

import { Dcm2niix } from "@niivue/dcm2niix";
import { bytesText } from "./elements.js";
import { loadPart, startWorker } from "./embedded.js";
import { Cancelled } from "./engine.js";

const MOST_BYTES = 1e9;

/** The images of the files' series, the largest first: the others are mostly localisers.
 * @throws Error  with a sentence for people; Cancelled when the signal says so. */
export async function convertDicom(files: File[], signal: AbortSignal): Promise<File[]> {
  const bytes = files.reduce((sum, file) => sum + file.size, 0);
  if (bytes > MOST_BYTES)
    throw new Error(`The folder has ${bytesText(bytes)}: this page takes DICOM up to ${bytesText(MOST_BYTES)}.`);
  const { worker: source } = await loadPart("dicom");
  if (signal.aborted) throw new Cancelled();
  const worker = startWorker(source);
  const cancelled = new Promise<never>((_, reject) => signal.addEventListener("abort", () => reject(new Cancelled())));
  try {
    return await Promise.race([convertIn(worker, files), cancelled]);
  } finally {
    worker.terminate();
  }
}

async function convertIn(worker: Worker, files: File[]): Promise<File[]> {
  const converter = new Dcm2niix();
  converter.worker = worker;
  await new Promise<void>((resolve, reject) => {
    worker.onmessage = ({ data }) => (data.type === "ready" ? resolve() : reject(new Error(data.message)));
    worker.onerror = (event) => reject(new Error(event.message));
  });
  const found = await converter.input(files).bids("n").filenameformat("%p_%s").run().catch(() => [] as File[]);
  const images = found.filter((file) => file.name.endsWith(".nii")).sort((a, b) => b.size - a.size);
  if (images.length === 0) throw new Error("There is no image of DICOM in these files.");
  return images;
}
