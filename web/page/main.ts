// The page: a scan comes in, a host runs in the worker, its results are shown and offered.

import { block, button, element, input, make } from "./elements.js";
import { convertDicom } from "./dicom.js";
import { bytesOfBase64, loadPart } from "./embedded.js";
import { Cancelled, Engine } from "./engine.js";
import { ProgressPanel } from "./progress.js";
import { type DenoiseReport, labelClasses, ResultsPanel, type SegmentReport, type Files } from "./results.js";
import { DENOISE_SETTINGS, denoiseWords, maskName, SEGMENT_SETTINGS, SettingsForm } from "./settings.js";
import { droppedFiles, isNiftiName, MOST_VOXELS, openNifti, type Scan, sizeText } from "./source.js";
import { hasWebGl, Viewer } from "./viewer.js";
import type { HostName } from "../module/src/hosts.js";

const REPORT = "report.json";

const engine = new Engine();
const viewer = hasWebGl() ? new Viewer() : undefined;
const progress = new ProgressPanel();
const results = new ResultsPanel();
const forms = {
  denoise_mr: new SettingsForm("denoise-settings", DENOISE_SETTINGS),
  segment_mr: new SettingsForm("segment-settings", SEGMENT_SETTINGS),
};
const shown = element("shown", HTMLSelectElement);

let scan: Scan | undefined;
let isBusy = false;
let ending = new AbortController();
/** What can be shown, by its name: the scan, and images of the last runs. */
const images = new Map<string, () => Promise<void>>();

function say(text: string): void {
  block("message").textContent = text;
  block("message").hidden = text === "";
}

function showState(): void {
  for (const id of ["denoise", "segment"]) button(id).disabled = isBusy || !scan;
  for (const id of ["choose-file", "choose-folder", "sample"]) button(id).disabled = isBusy;
  button("cancel").disabled = !isBusy;
  document.body.toggleAttribute("data-busy", isBusy);
}

/** One thing at a time; what goes wrong becomes a sentence. */
async function whileBusy(text: string, work: () => Promise<void>): Promise<void> {
  if (isBusy) return say("Nothing new is taken while this page computes: cancel it first.");
  isBusy = true;
  ending = new AbortController();
  say("");
  showState();
  progress.open(text);
  try {
    await work();
  } catch (error) {
    say(error instanceof Cancelled ? "Cancelled: nothing was computed." : sentence(error));
  } finally {
    isBusy = false;
    progress.close();
    showState();
  }
}

function cancel(): void {
  engine.cancel();
  ending.abort();
}

function sentence(error: unknown): string {
  let text = error instanceof Error ? error.message : String(error);
  // The hosts' reasons are no sentences yet; the name of a file stays as it is.
  text = text.replace(" (--help lists the options)", "");
  const start = /^[a-z]+ /.test(text) ? text.charAt(0).toUpperCase() + text.slice(1) : text;
  return /[.!?]$/.test(start) ? start : `${start}.`;
}

async function take(next: Scan, note = ""): Promise<void> {
  if (ending.signal.aborted) throw new Cancelled();
  const [x, y, z] = await engine.readSize({ name: next.name, blob: next.blob });  // a damaged one leaves all as it was
  scan = { ...next, size: [x, y, z] };
  images.clear();
  results.clear();
  block("scan-name").textContent = `${scan.name}: ${sizeText(scan.size)} voxels${note}`;
  showCommand("segment_mr");
  await addImage("Scan", () => viewer!.show(scan!.blob, scan!.name));
}

/** Adds an image to what can be shown, and shows it. */
async function addImage(name: string, show: () => Promise<void>): Promise<void> {
  images.set(name, show);
  shown.replaceChildren(...[...images.keys()].map((key) => make("option", { value: key }, key)));
  shown.disabled = !viewer;
  shown.value = name;
  if (viewer) await show();
}

function takeFiles(files: File[]): Promise<void> {
  return whileBusy("Reading", async () => {
    if (files.length === 0) return;
    const [only] = files;
    if (files.length > 1 && files.every(({ name }) => isNiftiName(name))) throw new Error("One NIfTI file at a time, please.");
    const isDicom = files.length > 1 || /\.(dcm|ima)$/i.test(only!.name) || !only!.name.includes(".");
    if (!isDicom) return take(await openNifti(only!));
    const series = await convertDicom(files, ending.signal);
    const note = series.length > 1 ? `, the largest of ${series.length} series in the folder` : "";
    await take(await openNifti(series[0]!), note);
  });
}

function takeSample(): Promise<void> {
  return whileBusy("Reading", async () => {
    const bytes = bytesOfBase64((await loadPart("sample")).wasm);
    await take(await openNifti(new File([bytes], "t1_brain_axial.nii.gz")));
  });
}

/** The words of a host for the present scan. */
function wordsOf(host: HostName): string[] {
  const name = scan?.name ?? "SCAN";
  const { words } = forms[host].chosen(name);
  return [name.startsWith("-") ? `./${name}` : name, ...(host === "denoise_mr" ? denoiseWords(words) : words)];
}

/** Whether the deviation of the noise is the user's; 0 is none. */
function isNoiseGiven(host: HostName): boolean {
  return wordsOf(host).some((word) => word.startsWith("--sigma=") && Number(word.slice("--sigma=".length)) !== 0);
}

function showCommand(host: HostName): void {
  const words = wordsOf(host).map((word) => (/^[\w./=,+-]+$/.test(word) ? word : `'${word.replaceAll("'", "'\\''")}'`));
  block("command").textContent = [host, ...words].join(" ");
}

/** Runs a host on the scan; its reports and images by name, and the seconds that it took. */
async function runHost(host: HostName): Promise<{ files: Files; seconds: number }> {
  showCommand(host);
  const masks = forms[host].chosen(scan!.name).files.map((file) => ({ name: maskName(file, scan!.name), blob: file }));
  const scanFile = { name: scan!.name, blob: scan!.blob };
  const answer = await engine.run(host, wordsOf(host), [scanFile, ...masks], (done, steps, title) => progress.show(done, steps, title));
  return { files: new Map(answer.files.map(([name, bytes]) => [name, new Blob([bytes])])), seconds: answer.seconds };
}

async function reportOf<T>(files: Files): Promise<T> {
  return JSON.parse(await files.get(REPORT)!.text()) as T;
}

function denoise(): Promise<void> {
  return whileBusy("Reading", async () => {
    const isGiven = isNoiseGiven("denoise_mr");
    const { files, seconds } = await runHost("denoise_mr");
    results.showDenoised(await reportOf<DenoiseReport>(files), isGiven, seconds, files);
    const [name, blob] = [...files].find(([file]) => file.endsWith(".nii.gz"))!;
    await addImage("Denoised", () => viewer!.show(blob, name));
  });
}

function segment(): Promise<void> {
  return whileBusy("Reading", async () => {
    const isGiven = isNoiseGiven("segment_mr");
    const { files, seconds } = await runHost("segment_mr");
    const report = await reportOf<SegmentReport>(files);
    results.showSegmented(report, isGiven, seconds, files);
    const labels = [...files].find(([file]) => /(^labels|_dseg)\.nii\.gz$/.test(file));
    if (!labels) return;
    const over = { blob: labels[1], classes: labelClasses(report) };
    // The labels of a single plane of a volume have a grid of their own.
    const under = report.image.plane ? labels[1] : scan!.blob;
    await addImage("Labels", () => viewer!.show(under, scan!.name, over));
  });
}

function listen(): void {
  button("choose-file").addEventListener("click", () => input("file").click());
  button("choose-folder").addEventListener("click", () => input("folder").click());
  button("sample").addEventListener("click", () => void takeSample());
  for (const id of ["file", "folder"]) {
    input(id).addEventListener("change", () => {
      const files = [...(input(id).files ?? [])];
      input(id).value = "";  // so that the same file can be chosen again
      void takeFiles(files);
    });
  }
  button("denoise").addEventListener("click", () => void denoise());
  button("segment").addEventListener("click", () => void segment());
  button("cancel").addEventListener("click", cancel);
  document.addEventListener("keydown", (event) => { if (event.key === "Escape" && isBusy) cancel(); });
  shown.addEventListener("change", () => void images.get(shown.value)?.().catch((error) => say(sentence(error))));
  for (const host of ["denoise_mr", "segment_mr"] as const) forms[host].onChange(() => showCommand(host));
}

function listenToDrops(): void {
  // Before the canvas hears of them, which would keep them to itself.
  document.addEventListener("dragover", (event) => {
    event.preventDefault();
    event.stopPropagation();
    document.body.classList.add("dragging");
  }, { capture: true });
  document.addEventListener("dragleave", () => document.body.classList.remove("dragging"));
  document.addEventListener("drop", (event) => {
    event.preventDefault();
    event.stopPropagation();
    document.body.classList.remove("dragging");
    if (event.dataTransfer) void droppedFiles(event.dataTransfer).then(takeFiles, (error) => say(sentence(error)));
  }, { capture: true });
}

async function start(): Promise<void> {
  block("limit").textContent = `Up to ${MOST_VOXELS / 1e6} million voxels, such as 256 × 256 × 256.`;
  listen();
  listenToDrops();
  if (viewer) await viewer.open();
  else say("This browser draws no volumes (WebGL 2): the computation works, without views.");
  showCommand("segment_mr");
  showState();
  document.body.setAttribute("data-ready", "");
}

void start();
