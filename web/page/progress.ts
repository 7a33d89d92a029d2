// Progress of the present stage, with the time that is left of it.

import { block, element } from "./elements.js";

// The library's own titles, for an English page.
const STAGES: Record<string, string> = {
  "Débruitage d'un volume": "Taking the noise off",
  "Denoising": "Taking the noise off",
  "Segmentation des tissus": "Dividing into tissues",
};
const FIRST_ESTIMATE_SECONDS = 2;

export class ProgressPanel {
  private readonly panel = block("progress");
  private readonly bar = element("bar", HTMLProgressElement);
  private readonly text = block("stage-text");
  private title = "";
  private start = 0;

  open(text: string): void {
    this.panel.hidden = false;
    this.title = "";
    this.bar.removeAttribute("value");
    this.text.textContent = text;
  }

  close(): void {
    this.panel.hidden = true;
  }

  show(done: number, steps: number, title: string, now = performance.now()): void {
    if (title !== this.title || done === 0) {
      this.title = title;
      this.start = now;
    }
    const share = steps > 0 ? done / steps : 0;
    this.bar.value = share;
    this.text.textContent = `${STAGES[title] ?? "Clustering"}: ${Math.floor(100 * share)} %${timeLeft((now - this.start) / 1000, share)}`;
  }
}

/** ", about 20 s left", once it can be told. */
export function timeLeft(seconds: number, share: number): string {
  if (share <= 0 || share >= 1 || seconds < FIRST_ESTIMATE_SECONDS) return "";
  const left = Math.ceil((seconds * (1 - share)) / share);
  return left < 100 ? `, about ${left} s left` : `, about ${Math.round(left / 60)} min left`;
}
