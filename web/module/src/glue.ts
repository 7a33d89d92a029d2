// What Emscripten makes of web/wasm: the functions that C++ binds, over addresses in the module's memory.

export interface Bundle {
  array(name: string): Uint8Array | Int32Array | Float32Array | Float64Array | undefined;
  number(name: string): number | undefined;
  text(name: string): string | undefined;
  delete(): void;
}

export type Listener = (title: string, action: string, done: number, steps: number) => void;

interface FileSystem {
  mkdir(path: string): void;
  chdir(path: string): void;
  readdir(path: string): string[];
  readFile(path: string): Uint8Array<ArrayBuffer>;
  writeFile(path: string, bytes: Uint8Array, options: { canOwn: boolean }): void;
  unlink(path: string): void;
  rmdir(path: string): void;
  stat(path: string): { mode: number };
  isDir(mode: number): boolean;
}

export interface Glue {
  HEAPU8: Uint8Array<ArrayBuffer>;
  FS: FileSystem;
  _malloc(bytes: number): number;
  _free(address: number): void;
  denoiseFloats(image: number, options: object): Bundle;
  denoiseDoubles(image: number, options: object): Bundle;
  tissuesOfFloats(channels: number[], options: object): Bundle;
  tissuesOfDoubles(channels: number[], options: object): Bundle;
  cluster(samples: number, count: number, features: number, isFuzzy: boolean, options: object): Bundle;
  registerLandmarks(first: number, second: number, count: number, isRobust: boolean): Bundle;
  texture(image: number, options: object): Bundle;
  readGrid(path: string): Bundle;
  runHost(name: string, words: string[], listener: Listener | undefined): number;
}

export interface GlueSettings {
  wasmBinary: ArrayBuffer | Uint8Array;
  print(line: string): void;
  printErr(line: string): void;
}

export type CreateGlue = (settings: GlueSettings) => Promise<Glue>;
