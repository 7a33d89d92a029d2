// The settings of the hosts, in their own words: what is chosen here is their command line.

import { block, make } from "./elements.js";

export interface Setting {
  option: string;
  label: string;
  help: string;
  /** What the host takes without it. */
  open: string;
  /** Of a choice: word and text; otherwise a number, some numbers, a flag or a file. */
  kind: "number" | "numbers" | "flag" | "file" | [word: string, text: string][];
  /** Only with these methods. */
  methods?: string[];
}

const ITERATING = ["fcm", "kmeans", "ecm"];
const AXES: [string, string][] = [["x", "x"], ["y", "y"], ["z", "z"]];

export const SEGMENT_SETTINGS: Setting[] = [
  { option: "--method", label: "Method", open: "tissue", help: "ecm tells undecided voxels and outliers",
    kind: [["tissue", "tissue: tissues, mixtures, bias field"], ["fcm", "fcm: fuzzy c-means"], ["kmeans", "kmeans"],
           ["ecm", "ecm: evidential c-means"]] },
  { option: "--clusters", label: "Classes", open: "", kind: "number", help: "2 to 64; ecm to 10, tissue to 16" },
  { option: "--fuzzifier", label: "Fuzzifier", open: "2", kind: "number", help: "above 1: larger values blur the classes more",
    methods: ["fcm", "ecm"] },
  { option: "--iterations", label: "Iterations", open: "", kind: "number", help: "at most, 1 to 1000000", methods: ITERATING },
  { option: "--tolerance", label: "Tolerance", open: "0.001", kind: "number", help: "change at which the run ends",
    methods: ["fcm", "ecm"] },
  { option: "--centroids", label: "Centroids", open: "quantiles", kind: "numbers", help: "to start from, with commas",
    methods: ITERATING },
  { option: "--alpha", label: "Alpha", open: "2", kind: "number", help: "larger values leave fewer voxels undecided",
    methods: ["ecm"] },
  { option: "--rho", label: "Rho", open: "2", kind: "number", help: "mean distances at which outliers are", methods: ["ecm"] },
  { option: "--adjacent-sets", label: "Adjacent sets", open: "", kind: "flag", help: "only sets of neighbouring classes",
    methods: ["ecm"] },
  { option: "--no-bias-field", label: "No bias field", open: "", kind: "flag", help: "do not look for one", methods: ["tissue"] },
  { option: "--threshold", label: "Threshold", open: "0", kind: "number", help: "voxels at or below it are outside" },
  { option: "--denoise", label: "Noise", open: "as the method has it", help: "tissue takes it off first",
    kind: [["--denoise", "take it off first"], ["--no-denoise", "take the image as it is"]] },
  { option: "--sigma", label: "Sigma", open: "estimated", kind: "number", help: "deviation of the noise, if it is taken off" },
  { option: "--axis", label: "Axis", open: "whole volume", kind: AXES, help: "segment one plane of a volume, across it" },
  { option: "--index", label: "Index", open: "the middle", kind: "number", help: "of the plane, from 0" },
  { option: "--mask", label: "Mask", open: "", kind: "file", help: "NIfTI of the same grid: voxels above 0 count" },
];

export const DENOISE_SETTINGS: Setting[] = [
  { option: "--method", label: "Method", open: "blocks of volumes, wavelets of planes", help: "",
    kind: [["volume", "blocks"], ["wavelet", "wavelets of planes"]] },
  { option: "--sigma", label: "Sigma", open: "estimated", kind: "number", help: "deviation of the noise", methods: ["volume"] },
  { option: "--factor", label: "Factor", open: "2", kind: "number", help: "noise levels that a detail must stand out",
    methods: ["wavelet"] },
  { option: "--window", label: "Window", open: "5", kind: "number", help: "side of a detail's neighbourhood, odd, 1 to 99",
    methods: ["wavelet"] },
  { option: "--axis", label: "Axis", open: "z", kind: AXES, help: "of a volume: planes lie across it", methods: ["wavelet"] },
  { option: "--mask", label: "Mask", open: "", kind: "file", help: "NIfTI of the same grid: voxels at 0 become 0" },
];

/** The words of a command line, and the files that it names beside the scan. */
export interface Chosen {
  words: string[];
  files: File[];
}

/** A form of settings; those that the method does not look at are hidden. */
export class SettingsForm {
  private readonly fields = new Map<Setting, HTMLInputElement | HTMLSelectElement>();

  constructor(id: string, settings: Setting[]) {
    for (const setting of settings) {
      const field = fieldOf(setting);
      field.id = `${id}${setting.option}`;
      this.fields.set(setting, field);
      block(id).append(make("label", {}, `${setting.label} `, field, make("small", {}, setting.help)));
      field.addEventListener("change", () => this.showFitting());
    }
    this.showFitting();
  }

  /** What is chosen for the scan of that name. */
  chosen(scanName: string): Chosen {
    const chosen: Chosen = { words: [], files: [] };
    for (const [setting, field] of this.fields) {
      if (this.fits(setting)) addWords(setting, field, chosen, scanName);
    }
    return chosen;
  }

  onChange(listener: () => void): void {
    for (const field of this.fields.values()) field.addEventListener("input", listener);
  }

  private get method(): string {
    const [setting, field] = [...this.fields][0]!;
    return field.value || setting.open;
  }

  private fits(setting: Setting): boolean {
    return !setting.methods || setting.methods.includes(this.method);
  }

  private showFitting(): void {
    for (const [setting, field] of this.fields) field.parentElement!.hidden = !this.fits(setting);
  }
}

function fieldOf(setting: Setting): HTMLInputElement | HTMLSelectElement {
  if (Array.isArray(setting.kind)) {
    const options = setting.kind.map(([word, text]) => make("option", { value: word }, text));
    return make("select", {}, make("option", { value: "" }, `(${setting.open})`), ...options);
  }
  if (setting.kind === "flag") return make("input", { type: "checkbox" });
  if (setting.kind === "file") return make("input", { type: "file", accept: ".nii,.gz" });
  return make("input", { type: "text", inputmode: setting.kind === "number" ? "decimal" : "text", placeholder: setting.open,
                         autocomplete: "off" });
}

function addWords({ option, kind }: Setting, field: HTMLInputElement | HTMLSelectElement, chosen: Chosen, scanName: string): void {
  const value = field.value.trim();
  if (kind === "file") {
    const file = (field as HTMLInputElement).files?.[0];
    if (file) chosen.words.push(`${option}=${maskName(file, scanName)}`);
    if (file) chosen.files.push(file);
  } else if (kind === "flag") {
    if ((field as HTMLInputElement).checked) chosen.words.push(option);
  } else if (Array.isArray(kind) && value.startsWith("--")) {
    chosen.words.push(value);
  } else if (value !== "") {
    chosen.words.push(`${option}=${value}`);  // joined: a number below 0 would pass for an option
  }
}

/** The name of a mask for the hosts: its own, unless the scan has it. */
export function maskName(file: File, scanName: string): string {
  return file.name === scanName ? `mask-${file.name}` : file.name;
}

/** The words of `denoise_mr`, which has no method by name: blocks are a flag, wavelets what belongs to them. */
export function denoiseWords(words: string[]): string[] {
  const method = words.find((word) => word.startsWith("--method="));
  const others = words.filter((word) => word !== method);
  if (method === "--method=volume") return ["--volume", ...others];
  const isWavelet = method !== undefined && !others.some((word) => /^--(factor|window|axis)/.test(word));
  return isWavelet ? ["--factor=2", ...others] : others;
}
