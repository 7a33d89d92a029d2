declare module "@niivue/dcm2niix" {
  interface Processor {
    bids(value: string): Processor;
    filenameformat(value: string): Processor;
    run(): Promise<File[]>;
  }
  export class Dcm2niix {
    worker: Worker | null;
    input(files: File[]): Processor;
  }
}
declare module "mth-glue" {
  import type { CreateGlue } from "../module/src/glue.js";
  const create: CreateGlue;
  export default create;
}
