// Elements of the page by their ids.

type Kind<T> = { new (): T };

export function element<T extends HTMLElement>(id: string, kind: Kind<T>): T {
  const found = document.getElementById(id);
  if (!(found instanceof kind)) throw new Error(`there is no ${kind.name} #${id}`);
  return found;
}

export const button = (id: string) => element(id, HTMLButtonElement);
export const input = (id: string) => element(id, HTMLInputElement);
export const block = (id: string) => element(id, HTMLElement);

/** A new element with attributes and content. */
export function make<K extends keyof HTMLElementTagNameMap>(
  name: K, attributes: Record<string, string> = {}, ...content: (string | Node)[]
): HTMLElementTagNameMap[K] {
  const made = document.createElement(name);
  for (const [key, value] of Object.entries(attributes)) made.setAttribute(key, value);
  made.append(...content);
  return made;
}

/** Whole bytes for people. */
export function bytesText(bytes: number): string {
  if (bytes < 1e6) return `${Math.ceil(bytes / 1e3)} kB`;
  return bytes < 1e9 ? `${(bytes / 1e6).toFixed(1)} MB` : `${(bytes / 1e9).toFixed(1)} GB`;
}
