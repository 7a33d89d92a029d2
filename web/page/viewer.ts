// The three views of NiiVue: a scan, and what was computed over or instead of it.

import { NVImage, Niivue, SHOW_RENDER } from "@niivue/niivue";
import { block, element, input } from "./elements.js";
import { unpacked } from "./gzip.js";
import { MOST_BYTES } from "./source.js";

export interface LabelClass {
  label: number;
  name: string;
  colour: string;
}

/** What NiiVue tells of the cross. */
interface Place {
  mm: ArrayLike<number> & Iterable<number>;
  values: { value: number; label?: string }[];
}

const AXES = [0, 1, 2] as const;

/** Whether this browser can draw volumes. */
export function hasWebGl(): boolean {
  return document.createElement("canvas").getContext("webgl2") !== null;
}

export class Viewer {
  private readonly niivue = new Niivue({
    dragAndDropEnabled: false, isColorbar: false, isOrientCube: false, show3Dcrosshair: true, loadingText: "",
    multiplanarShowRender: SHOW_RENDER.NEVER, isRadiologicalConvention: true, backColor: [0, 0, 0, 1],
    crosshairColor: [1, 0.75, 0.1, 0.8], logLevel: "silent", isNearestInterpolation: true,
  });
  private readonly sliders = AXES.map((axis) => input(`slice-${axis}`));
  private readonly opacity = input("opacity");
  private last: Promise<void> = Promise.resolve();

  async open(): Promise<void> {
    await this.niivue.attachToCanvas(element("canvas", HTMLCanvasElement));
    this.niivue.onLocationChange = (place) => this.showPlace(place as Place);
    for (const slider of this.sliders) slider.addEventListener("input", () => this.moveCross());
    this.opacity.addEventListener("input", () => this.showOpacity());
  }

  /** Shows a scan, with labels over it or without; one after the other, however fast they come. */
  show(image: Blob, name: string, labels?: { blob: Blob; classes: LabelClass[] }): Promise<void> {
    this.last = this.last.catch(() => undefined).then(() => this.load(image, name, labels));
    return this.last;
  }

  private async load(image: Blob, name: string, labels?: { blob: Blob; classes: LabelClass[] }): Promise<void> {
    const first = await imageOf(image, name, "gray", 1);
    const over = labels && (await imageOf(labels.blob, "labels.nii.gz", "gray", 1));
    if (over) over.setColormapLabel(colours(labels.classes));
    const isNew = this.sliders.some((slider, axis) => slider.max !== String(first.dimsRAS![axis + 1]! - 1));
    const cross = [...this.niivue.scene.crosshairPos] as [number, number, number];
    for (const volume of [...this.niivue.volumes]) this.niivue.removeVolume(volume);
    this.niivue.addVolume(first);
    if (over) this.niivue.addVolume(over);
    const isPlane = first.dimsRAS!.slice(1, 4).includes(1);
    this.niivue.setSliceType(isPlane ? flatView(this.niivue, first) : this.niivue.sliceTypeMultiplanar);
    this.niivue.scene.crosshairPos = isNew ? [0.5, 0.5, 0.5] : cross;
    this.setSliders(first);
    this.opacity.disabled = !over;
    this.showOpacity();
    this.niivue.createOnLocationChange();
  }

  private setSliders(image: NVImage): void {
    this.sliders.forEach((slider, axis) => {
      slider.max = String(image.dimsRAS![axis + 1]! - 1);
      slider.disabled = slider.max === "0";
    });
    this.readCross();
  }

  private readCross(): void {
    this.sliders.forEach((slider, axis) => {
      slider.value = String(Math.floor(this.niivue.scene.crosshairPos[axis]! * (Number(slider.max) + 1)));
    });
  }

  private moveCross(): void {
    const [x, y, z] = this.sliders.map((slider) => (Number(slider.value) + 0.5) / (Number(slider.max) + 1));
    this.niivue.scene.crosshairPos = [x!, y!, z!];
    this.niivue.drawScene();
    this.niivue.createOnLocationChange();
  }

  private showPlace({ mm, values }: Place): void {
    const [x, y, z] = [...mm].map((length) => Math.round(length * 10) / 10 + 0);
    const [image, label] = values;
    const name = label?.label ? `, ${label.label}` : "";
    block("place").textContent = `x ${x}, y ${y}, z ${z} mm: ${Number((image?.value ?? 0).toPrecision(5))}${name}`;
    this.readCross();
  }

  private showOpacity(): void {
    if (this.niivue.volumes.length > 1) this.niivue.setOpacity(1, Number(this.opacity.value) / 100);
  }
}

async function imageOf(blob: Blob, name: string, colormap: string, opacity: number): Promise<NVImage> {
  const { buffer } = await unpacked(blob, MOST_BYTES);
  return NVImage.loadFromUrl({ url: "image.nii", buffer, name: "image.nii", colormap, opacity, colorbarVisible: false, limitFrames4D: 1 })
    .catch(() => { throw new Error(`${name} cannot be shown.`); });
}

// The view in which the voxels of a single plane lie.
function flatView(niivue: Niivue, image: NVImage) {
  const [, x, y] = image.dimsRAS!;
  if (x === 1) return niivue.sliceTypeSagittal;
  return y === 1 ? niivue.sliceTypeCoronal : niivue.sliceTypeAxial;
}

function colours(classes: LabelClass[]) {
  const rgb = classes.map(({ colour }) => [1, 3, 5].map((at) => parseInt(colour.slice(at, at + 2), 16)));
  return {
    R: [0, ...rgb.map(([red]) => red!)], G: [0, ...rgb.map(([, green]) => green!)], B: [0, ...rgb.map(([, , blue]) => blue!)],
    A: [0, ...rgb.map(() => 255)], I: [0, ...classes.map(({ label }) => label)], labels: ["", ...classes.map(({ name }) => name)],
  };
}
