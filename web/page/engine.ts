// The module in its worker. A computation is cancelled by ending the worker, which answers at once whatever it is doing.

import { proxy, type Remote, wrap } from "comlink";
import type { HostName } from "../module/src/hosts.js";
import { hasSimd } from "../module/src/instance.js";
import type { Progress, Size } from "../module/src/operations.js";
import { bytesOfBase64, loadPart, startWorker } from "./embedded.js";
import type { Answer, NamedFile, Service } from "./worker.js";

/** What a cancelled computation ends with. */
export class Cancelled extends Error {}

interface Running {
  worker: Worker;
  service: Remote<Service>;
  /** Ends whatever waits for the worker. */
  fail: (error: Error) => void;
  failed: Promise<never>;
}

export class Engine {
  private running: Promise<Running> | undefined;

  readSize(file: NamedFile): Promise<Size> {
    return this.ask((service) => service.readSize(file));
  }

  run(host: HostName, words: string[], files: NamedFile[], progress: Progress): Promise<Answer> {
    return this.ask((service) => service.run(host, words, files, proxy(progress)));
  }

  /** What is being computed fails with Cancelled; the next question starts a new worker. */
  cancel(): void {
    this.end(new Cancelled());
  }

  private async ask<T>(question: (service: Remote<Service>) => Promise<unknown>): Promise<T> {
    const running = (this.running ??= start());
    running.catch(() => { if (this.running === running) this.running = undefined; });  // what was missing may be there next time
    try {
      const { service, failed } = await running;
      return (await Promise.race([question(service), failed])) as T;
    } catch (error) {
      // A module that ran out of memory, or worse, is not asked again.
      const isOver = !(error instanceof Cancelled) && (error instanceof WebAssembly.RuntimeError || isFatal(error));
      if (this.running === running && isOver) this.end(new Cancelled());
      throw isOver ? new Error("The computation broke off: there was not enough memory for this scan.") : error;
    }
  }

  private end(reason: Error): void {
    const running = this.running;
    this.running = undefined;
    void running?.then(({ worker, fail }) => {
      worker.terminate();
      fail(reason);
    }, () => undefined);
  }
}

function isFatal(error: unknown): boolean {
  return error instanceof Error && /RuntimeError|Aborted|out of memory|allocation failed/i.test(`${error.name} ${error.message}`);
}

async function start(): Promise<Running> {
  const { worker: source, wasm } = await loadPart(hasSimd() ? "engine-simd" : "engine-plain");
  const worker = startWorker(source);
  let fail: (error: Error) => void = () => undefined;
  const failed = new Promise<never>((_, reject) => { fail = reject; });
  failed.catch(() => undefined);
  worker.onerror = (event) => fail(new Error(event.message || "The worker could not be started."));
  const service = wrap<Service>(worker);
  await Promise.race([service.load(bytesOfBase64(wasm).buffer), failed]);
  return { worker, service, fail, failed };
}
