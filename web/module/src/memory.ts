// The module's memory: what goes in, and what comes out.

import type { Bundle, Glue } from "./glue.js";

export type Numbers = Float32Array | Float64Array;
export type AnyNumbers = ArrayLike<number>;

type Constructor<T> = { new (buffer: ArrayBuffer, offset: number, length: number): T; BYTES_PER_ELEMENT: number };

/** The arrays of one call, in the module's memory until the call ends. */
export class Inputs {
  private readonly addresses: number[] = [];
  /** Those that lie in the module's memory already: what is placed may make it grow, which detaches them. */
  private readonly there = new Map<unknown, { view: Float32Array; address: number; length: number }>();

  constructor(private readonly glue: Glue, sources: readonly unknown[]) {
    for (const source of sources) {
      if (!ArrayBuffer.isView(source) || source.buffer !== glue.HEAPU8.buffer) continue;
      const view = source as Float32Array;
      this.there.set(source, { view, address: view.byteOffset, length: view.length });
    }
  }

  /** The address of these numbers as elements of that type: their own where they lie in the module's memory already. */
  place<T extends Float32Array | Float64Array | Uint8Array>(values: AnyNumbers, type: Constructor<T>): number {
    const own = this.there.get(values);
    if (own && values instanceof (type as unknown as { new (): T })) return own.address;
    const length = own?.length ?? values.length;
    const address = reserve(this.glue, length * type.BYTES_PER_ELEMENT);
    this.addresses.push(address);
    const { buffer } = this.glue.HEAPU8;
    const source = own ? new (own.view.constructor as Constructor<Float32Array>)(buffer, own.address, length) : values;
    (new type(buffer, address, length) as unknown as { set(values: AnyNumbers): void }).set(source);
    return address;
  }

  free(): void {
    for (const address of this.addresses) this.glue._free(address);
  }
}

/** So many bytes of the module's memory. */
export function reserve(glue: Glue, bytes: number): number {
  const address = bytes < 2 ** 32 ? glue._malloc(Math.max(bytes, 1)) >>> 0 : 0;
  if (address === 0) throw new Error("not enough memory");
  return address;
}

/** Runs a call with its inputs, which come from these sources, and throws the error that its bundle tells. */
export function call(glue: Glue, sources: readonly unknown[], run: (inputs: Inputs) => Bundle): Bundle {
  const inputs = new Inputs(glue, sources);
  try {
    const bundle = run(inputs);
    const kind = bundle.text("error");
    if (kind === undefined) return bundle;
    const reason = bundle.text("reason");
    bundle.delete();
    throw kind === "RangeError" ? new RangeError(reason) : new Error(reason);
  } finally {
    inputs.free();
  }
}

const abandoned = new FinalizationRegistry<Bundle>((bundle) => bundle.delete());

/** What an operation found, in the module's memory until `free()` or until nobody refers to it. */
export class Found {
  private bundle: Bundle | undefined;

  constructor(bundle: Bundle) {
    this.bundle = bundle;
    abandoned.register(this, bundle, this);
  }

  /** Gives the memory back; arrays that were read from this are no longer to be used. */
  free(): void {
    abandoned.unregister(this);
    this.bundle?.delete();
    this.bundle = undefined;
  }

  protected array<T>(name: string): T {
    return this.living().array(name) as T;
  }

  protected number(name: string): number {
    return this.living().number(name)!;
  }

  protected text(name: string): string {
    return this.living().text(name)!;
  }

  private living(): Bundle {
    if (!this.bundle) throw new Error("this result has been freed");
    return this.bundle;
  }
}
