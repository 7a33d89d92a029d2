// What a run found: a table of classes, and the files to save.

import { block, element, bytesText, make } from "./elements.js";
import type { LabelClass } from "./viewer.js";

/** What the page reads of the hosts' reports. */
export interface SegmentReport {
  method: string;
  /** The deviations are those of the noise that was taken off before: of the image, or of planes too few for blocks. */
  image: { voxel_size_mm: number[] | null; plane: unknown; denoised: boolean; noise_deviations: number[] };
  classes: (LabelClass & { centroid: number; mean: number | null; deviation: number | null; voxels: number;
                           volume_ml?: number | null; area_mm2?: number | null })[];
  undecided_label?: number;
  undecided_voxels?: number;
  warnings: string[];
}

export interface DenoiseReport {
  method: string;
  deviations: number[];
}

export type Files = Map<string, Blob>;

const NOTHING = "–";

export class ResultsPanel {
  private urls: string[] = [];

  clear(): void {
    block("summary").textContent = "None yet.";
    block("table").hidden = block("files").hidden = true;
    this.forgetUrls();
  }

  showDenoised(report: DenoiseReport, isGiven: boolean, seconds: number, files: Files): void {
    block("summary").textContent = Math.max(...report.deviations) > 0
      ? `Denoised by ${report.method}: ${noiseText(report.deviations, isGiven)}, ${seconds.toFixed(1)} s.`
      : `No noise was found, ${seconds.toFixed(1)} s: the image has none, is a single line, or is black in more than half.`;
    block("table").hidden = true;
    this.offer(files);
  }

  showSegmented(report: SegmentReport, isGiven: boolean, seconds: number, files: Files): void {
    const noise = report.image.denoised ? `${noiseText(report.image.noise_deviations, isGiven)} and taken off, ` : "";
    const warnings = report.warnings.map((warning) => ` Warning: ${warning}.`).join("");
    block("summary").textContent = `${report.classes.length} classes by ${report.method}, ${noise}${seconds.toFixed(1)} s.${warnings}`;
    block("table").replaceChildren(tableOf(report));
    block("table").hidden = false;
    this.offer(files);
  }

  private offer(files: Files): void {
    this.forgetUrls();
    element("file-list", HTMLUListElement).replaceChildren(...[...files].map(([name, blob]) => {
      const save = make("button", { type: "button", "data-file": name }, `${name} (${bytesText(blob.size)})`);
      save.addEventListener("click", () => this.save(name, blob));
      return make("li", {}, save);
    }));
    block("files").hidden = false;
  }

  private save(name: string, blob: Blob): void {
    const url = URL.createObjectURL(blob);
    this.urls.push(url);
    make("a", { href: url, download: name }).click();
  }

  // A download may go on for as long as the page is open: its address lives until the next results.
  private forgetUrls(): void {
    for (const url of this.urls) URL.revokeObjectURL(url);
    this.urls = [];
  }
}

function noiseText(deviations: number[], isGiven: boolean): string {
  const [least, greatest] = [Math.min(...deviations), Math.max(...deviations)];
  const text = least === greatest ? number(least) : `${number(least)} to ${number(greatest)}`;
  return `noise of standard deviation ${text} ${isGiven ? "given" : "found"}`;
}

/** The classes whose labels an image holds, undecided voxels among them. */
export function labelClasses(report: SegmentReport): LabelClass[] {
  const classes: LabelClass[] = report.classes.map(({ label, name, colour }) => ({ label, name, colour }));
  if (report.undecided_label) classes.push({ label: report.undecided_label, name: "undecided", colour: "#ffffff" });
  return classes;
}

function tableOf(report: SegmentReport): HTMLTableElement {
  const isVolume = report.classes.some((entry) => "volume_ml" in entry);
  const all = report.classes.reduce((sum, { voxels }) => sum + voxels, report.undecided_voxels ?? 0);
  const heads = ["Class", "Centroid", "Mean", "Deviation", isVolume ? "Voxels" : "Pixels",
                 isVolume ? "Volume (ml)" : "Area (mm²)", "Share"];
  const table = make("table", {}, make("caption", {}, "Classes by increasing intensity"),
                     make("thead", {}, make("tr", {}, ...heads.map((head) => make("th", { scope: "col" }, head)))));
  const body = make("tbody");
  for (const entry of report.classes) {
    const measure = entry.volume_ml ?? entry.area_mm2;
    const numbers = [number(entry.centroid), number(entry.mean), number(entry.deviation), String(entry.voxels),
                     measure == null ? "unknown" : measure.toFixed(2), share(entry.voxels, all)];
    body.append(row(entry.name, entry.colour, numbers));
  }
  if (report.undecided_voxels !== undefined)
    body.append(row("undecided", "#ffffff", ["", "", "", String(report.undecided_voxels), "", share(report.undecided_voxels, all)]));
  table.append(body);
  return table;
}

function row(name: string, colour: string, numbers: string[]): HTMLTableRowElement {
  const swatch = make("span", { class: "swatch" });
  swatch.style.backgroundColor = colour;
  return make("tr", {}, make("th", { scope: "row" }, swatch, name), ...numbers.map((text) => make("td", {}, text)));
}

function number(value: number | null): string {
  return value === null ? NOTHING : Number(value.toPrecision(4)).toString();
}

function share(count: number, all: number): string {
  return `${((100 * count) / Math.max(all, 1)).toFixed(1)} %`;
}
