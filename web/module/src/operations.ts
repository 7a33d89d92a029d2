// The library's operations over typed arrays.

import type { Bundle, Glue, Listener } from "./glue.js";
import { type AnyNumbers, call, Found, type Numbers, reserve } from "./memory.js";

/** Voxels along x, y and z; a plane has one along z. */
export type Size = readonly [number, number, number];

/** Told of steps that are done: how many, of how many, and in words. */
export type Progress = (done: number, steps: number, title: string, action: string) => void;

interface WithProgress {
  progress?: Progress | undefined;
}

export interface DenoiseOptions extends WithProgress {
  /** Deviation of the noise in grey levels; 0 estimates it. */
  noise?: number;
}

/** What `denoise` found, in the type of the image. */
export class Denoised extends Found {
  get image(): Numbers { return this.array("image"); }
  /** The share of its noise that is left in each voxel. */
  get confidence(): Numbers { return this.array("confidence"); }
  /** The deviation of the noise that was used. */
  get noise(): number { return this.number("noise"); }
}

export interface TissueOptions extends WithProgress {
  /** 1 to 16; 3 without it: CSF, grey and white matter of a T1 image. */
  tissues?: number;
  /** In mm. */
  voxelSize?: Size;
  /** Whether to look for places that the scanner made brighter. */
  biasField?: boolean;
  /** Voxels that are not 0 count; without it those above 0. */
  mask?: AnyNumbers;
  /** Of `denoise`, of one channel. */
  confidence?: AnyNumbers;
}

/** What `tissueSegmentation` found; tissues are in ascending order of brightness. */
export class Tissues extends Found {
  constructor(bundle: Bundle, readonly tissues: number, readonly channels: number) { super(bundle); }
  /** Of each voxel: the tissue of the largest fraction, from 1; 0 outside. */
  get labels(): Uint8Array { return this.array("labels"); }
  /** Of each tissue: its fraction in each voxel. */
  get fractions(): Numbers[] { return this.each("fraction", this.tissues); }
  /** Of each channel: by which it is brighter in each voxel. */
  get fields(): Numbers[] { return this.each("field", this.channels); }
  /** Tissues x channels. */
  get centroids(): Float64Array { return this.array("centroids"); }
  private each(name: string, count: number): Numbers[] {
    return Array.from({ length: count }, (_, k) => this.array<Numbers>(name + k));
  }
}

export interface ClusterOptions extends WithProgress {
  clusters: number;
  /** Numbers of a sample, which lie one after the other; 1 without it. */
  features?: number;
  /** Where to start: spread over the quantiles, farthest first, by the seed, or clusters x features numbers. */
  init?: "quantiles" | "farthest" | "k-means++" | AnyNumbers;
  seed?: number;
  /** At most; 300 of k-means, 100 of fuzzy c-means without it. */
  iterations?: number;
}

export interface FuzzyOptions extends ClusterOptions {
  /** Above 1; larger values blur the clusters more. */
  fuzzifier?: number;
  /** The run ends when no membership changes by more. */
  tolerance?: number;
}

/** What a clustering found. */
export class Clusters extends Found {
  /** Clusters x features. */
  get centroids(): Float64Array { return this.array("centroids"); }
  /** Of each sample, from 0. */
  get labels(): Int32Array { return this.array("labels"); }
  get iterations(): number { return this.number("iterations"); }
  /** "converged", "iteration cap", or "bad input" where all centroids coincide. */
  get reason(): string { return this.text("reason"); }
}

export class FuzzyClusters extends Clusters {
  /** Samples x clusters. */
  get memberships(): Float64Array { return this.array("memberships"); }
  /** The largest change of a membership in the last iteration. */
  get change(): number { return this.number("change"); }
}

/** What `registerLandmarks` found. */
export class Registration extends Found {
  /** 4 x 4, row by row: it maps the first points to the second ones. */
  get matrix(): Float64Array { return this.array("matrix"); }
  get quaternion(): Float64Array { return this.array("quaternion"); }
  /** The distance that is left of each pair. */
  get residuals(): Float64Array { return this.array("residuals"); }
}

export interface TextureOptions {
  /** Of grey, 2 to 256; 32 without it. */
  levels?: number;
  /** Between the voxels of a pair; 1 without it. */
  distance?: number;
  /** Of a volume: pairs lie in its planes across this axis (0, 1 or 2); without it in all directions. */
  axis?: 0 | 1 | 2;
  /** Intensities of the first and the last level; without it those of the regions. */
  range?: readonly [number, number];
  /** A region per label from 1 to 255, 0 being outside; without it the whole image is one, with label 0. */
  labels?: AnyNumbers;
}

/** One region: means over the directions, by the feature's name; null where the region has no pairs. */
export interface RegionTexture {
  label: number;
  voxels: number;
  features: Record<string, number> | null;
}

const STARTS = ["quantiles", "farthest", "k-means++"];

/** The operations over one instance of the module. */
export class Operations {
  // A detached array has forgotten its address.
  private readonly allocated = new WeakMap<Numbers, number>();

  constructor(protected readonly glue: Glue) {}

  /** An array in the module's memory, which operations take without a copy; `release` gives it back. The growth of the
   * memory detaches it: fill it and hand it over before anything else is computed. */
  allocate(type: "float32", length: number): Float32Array;
  allocate(type: "float64", length: number): Float64Array;
  allocate(type: "float32" | "float64", length: number): Numbers {
    require(type === "float32" || type === "float64", "the type is neither float32 nor float64");
    const kind = type === "float32" ? Float32Array : Float64Array;
    require(Number.isSafeInteger(length) && length >= 0, "the length is no whole number");
    const address = reserve(this.glue, length * kind.BYTES_PER_ELEMENT);
    const array = new kind(this.glue.HEAPU8.buffer, address, length);
    this.allocated.set(array, address);
    return array;
  }

  /** Of what `allocate` gave, detached since or not; once more does nothing. */
  release(array: Numbers): void {
    const address = this.allocated.get(array);
    require(address !== undefined, "the array is not one that was allocated here");
    this.allocated.set(array, 0);
    this.glue._free(address!);
  }

  /** Takes the Rician noise off a magnitude volume or plane. */
  denoise(image: AnyNumbers, size: Size, options: DenoiseOptions = {}): Denoised {
    requireVolume(image, size, "image");
    const { noise = 0 } = options;
    require(Number.isFinite(noise) && noise >= 0, "noise is not a number from 0");
    const settings = { size, noise, progress: listener(options) };
    return new Denoised(call(this.glue, [image], (inputs) =>
      isFloat(image) ? this.glue.denoiseFloats(inputs.place(image, Float32Array), settings)
                     : this.glue.denoiseDoubles(inputs.place(image, Float64Array), settings)));
  }

  /** Divides a volume or plane, or several channels of one, into tissues, with their mixtures and the bias field. */
  tissueSegmentation(image: AnyNumbers | AnyNumbers[], size: Size, options: TissueOptions = {}): Tissues {
    const channels = Array.isArray(image) && typeof image[0] !== "number" ? (image as AnyNumbers[]) : [image as AnyNumbers];
    require(channels.length > 0, "there is no image");
    for (const channel of channels) requireVolume(channel, size, "image");
    if (options.mask) requireVolume(options.mask, size, "mask");
    if (options.confidence) requireVolume(options.confidence, size, "confidence");
    require(!options.confidence || channels.length === 1, "confidence belongs to a single channel");
    const { tissues = 3, voxelSize = [1, 1, 1] } = options;
    require(voxelSize.length === 3 && [...voxelSize].every((length) => Number.isFinite(length) && length > 0),
            "voxelSize is not three positive lengths");
    require(Number.isInteger(tissues) && tissues >= 1 && tissues <= 16, "tissues is not 1 to 16");
    const areFloats = channels.every(isFloat);
    const type = areFloats ? Float32Array : Float64Array;
    const bundle = call(this.glue, [...channels, options.confidence], (inputs) => {
      const settings = {
        size, tissues, voxelSize, biasField: options.biasField ?? true,
        mask: options.mask ? inputs.place(Uint8Array.from(options.mask, (value) => (value ? 1 : 0)), Uint8Array) : 0,
        confidence: options.confidence ? inputs.place(options.confidence, type as Float32ArrayConstructor) : 0,
        progress: listener(options),
      };
      const addresses = channels.map((channel) => inputs.place(channel, type as Float32ArrayConstructor));
      return areFloats ? this.glue.tissuesOfFloats(addresses, settings) : this.glue.tissuesOfDoubles(addresses, settings);
    });
    return new Tissues(bundle, tissues, channels.length);
  }

  /** Hard k-means by Lloyd's algorithm. */
  kMeans(samples: AnyNumbers, options: ClusterOptions): Clusters {
    return new Clusters(this.cluster(samples, false, { ...options, iterations: options.iterations ?? 300 }));
  }

  /** Fuzzy c-means. By intention a sample on a centroid has membership 0 for it. */
  fuzzyCMeans(samples: AnyNumbers, options: FuzzyOptions): FuzzyClusters {
    return new FuzzyClusters(this.cluster(samples, true, options));
  }

  private cluster(samples: AnyNumbers, isFuzzy: boolean, options: FuzzyOptions): Bundle {
    const { clusters, features = 1, iterations = 100, init = "k-means++", seed = 1, tolerance = 1e-3, fuzzifier = 2 } = options;
    requireNumbers(samples, "samples");
    const count = samples.length / features;
    require(isCount(features) && isCount(count), "samples are not whole rows of features");
    require(isCount(clusters) && clusters <= count, "clusters is not 1 to the number of samples");
    require(isCount(iterations), "iterations is not a positive number");
    require(Number.isInteger(seed) && Math.abs(seed) < 2 ** 31, "seed is not a whole number of 32 bits");
    require(Number.isFinite(tolerance) && tolerance >= 0, "tolerance is not a number from 0");
    require(Number.isFinite(fuzzifier) && fuzzifier > 1, "fuzzifier is not above 1");
    requireFinite(samples, "samples");
    if (typeof init === "string") {
      require(STARTS.includes(init), `init is none of ${STARTS.join(", ")}`);
    } else {
      requireNumbers(init, "init");
      require(init.length === clusters * features, "init is not clusters x features");
      requireFinite(init, "init");
    }
    const settings = {
      clusters, iterations, seed, tolerance, fuzzifier, init: typeof init === "string" ? init : Array.from(init),
      progress: listener(options),
    };
    return call(this.glue, [samples], (inputs) =>
      this.glue.cluster(inputs.place(samples, Float64Array), count, features, isFuzzy, settings));
  }

  /** The rigid transform from the first points to their partners, three numbers each: of least squares of all, or, robust, of
   * the landmarks that are right. */
  registerLandmarks(first: AnyNumbers, second: AnyNumbers, options: { robust?: boolean } = {}): Registration {
    requireNumbers(first, "first");
    requireNumbers(second, "second");
    const count = first.length / 3;
    require(isCount(count), "there are no points of three numbers each");
    require(first.length === second.length, "the sets differ in size");
    requireFinite(first, "first");
    requireFinite(second, "second");
    return new Registration(call(this.glue, [first, second], (inputs) => this.glue.registerLandmarks(
      inputs.place(first, Float64Array), inputs.place(second, Float64Array), count, options.robust ?? false)));
  }

  /** Fourteen features of the co-occurrence matrices of each region, as `texture_mr` measures them. */
  texture(image: AnyNumbers, size: Size, options: TextureOptions = {}): RegionTexture[] {
    requireVolume(image, size, "image");
    requireFinite(image, "image");
    const { levels = 32, distance = 1, axis, range, labels } = options;
    if (labels) requireVolume(labels, size, "labels");
    if (labels) requireEach(labels, (label) => Number.isInteger(label) && label >= 0 && label <= 255, "labels are not 0 to 255");
    require(Number.isInteger(levels) && levels >= 2 && levels <= 256, "levels is not 2 to 256");
    require(isCount(distance), "distance is not a positive number");
    require(axis === undefined || [0, 1, 2].includes(axis), "axis is not 0, 1 or 2");
    require(axis === undefined || size[2] > 1, "axis belongs to a volume");
    require(!range || (range.length === 2 && range.every(Number.isFinite) && range[0] < range[1]), "range is not two ascending numbers");
    const voxels = image.length;
    const bundle = call(this.glue, [image, labels], (inputs) => this.glue.texture(inputs.place(image, Float64Array), {
      size, levels, distance, voxels, axis: axis ?? null, range: range ?? null, labels: labels ? inputs.place(labels, Uint8Array) : 0,
    }));
    const names = bundle.text("names")!.split(",");
    const [regions, counts, features] = ["labels", "voxels", "features"].map((name) => Array.from(bundle.array(name)!));
    bundle.delete();
    return regions!.map((label, region) => {
      const values = names.map((name, k) => [name, features![region * names.length + k]!] as const);
      const hasPairs = values.some(([, value]) => !Number.isNaN(value));
      return { label, voxels: counts![region]!, features: hasPairs ? Object.fromEntries(values) : null };
    });
  }
}

function listener({ progress }: WithProgress): Listener | undefined {
  return progress && listenerOf(progress);
}

/** What throws in the midst of a computation would leave it half done: it is for the console alone. */
export function listenerOf(progress: Progress): Listener {
  return (title, action, done, steps) => {
    try {
      progress(done, steps, title, action);
    } catch (error) {
      console.error(error);
    }
  };
}

function isFloat(values: AnyNumbers): boolean {
  return values instanceof Float32Array;
}

function isCount(value: number): boolean {
  return Number.isInteger(value) && value >= 1 && value < 2 ** 31;
}

function require(isTrue: boolean, reason: string): void {
  if (!isTrue) throw new RangeError(reason);
}

function requireVolume(values: AnyNumbers, size: Size, name: string): void {
  require(size?.length === 3 && [...size].every(isCount), "size is not three positive whole numbers");
  requireNumbers(values, name);
  const voxels = size[0] * size[1] * size[2];
  require(values.length === voxels, `${name} has ${values.length} values, not ${size.join(" x ")}`);
}

function requireNumbers(values: AnyNumbers, name: string): void {
  require(typeof values === "object" && values !== null && Number.isInteger(values.length), `${name} is no array of numbers`);
}

function requireEach(values: AnyNumbers, isGood: (value: number) => boolean, reason: string): void {
  for (let i = 0; i < values.length; ++i) require(isGood(values[i]!), reason);
}

function requireFinite(values: AnyNumbers, name: string): void {
  requireEach(values, Number.isFinite, `${name} has values that are not finite`);
}
