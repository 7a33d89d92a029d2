// A browser and a server for the tests of the page: Debian's Chromium without a screen, and the files of a folder on a port
// that the system picks.
import { createServer } from "node:http";
import { readFile } from "node:fs/promises";
import { existsSync } from "node:fs";
import { extname, join, normalize } from "node:path";
import { chromium } from "playwright-core";

const TYPES = { ".html": "text/html", ".js": "text/javascript", ".css": "text/css", ".txt": "text/plain" };
export const PATIENCE = 600_000; // for what computes, on however loaded a machine

/** Where Chromium is; undefined without it. */
export const chromiumPath = [process.env.MTH_CHROMIUM, "/usr/bin/chromium", "/usr/bin/chromium-browser"]
  .find((path) => path && existsSync(path));

/** @returns {Promise<{origin: string, close: () => void}>} */
export async function serve(folder) {
  const server = createServer(async (request, response) => {
    const path = normalize(new URL(request.url, "http://localhost").pathname);
    try {
      const body = await readFile(join(folder, path.endsWith("/") ? `${path}index.html` : path));
      response.writeHead(200, { "content-type": TYPES[extname(path) || ".html"] ?? "application/octet-stream" }).end(body);
    } catch {
      response.writeHead(404).end();
    }
  });
  await new Promise((resolve) => server.listen(0, "127.0.0.1", resolve));
  return { origin: `http://127.0.0.1:${server.address().port}`, close: () => server.close() };
}

export function launch() {
  return chromium.launch({
    executablePath: chromiumPath,
    timeout: PATIENCE,
    args: ["--no-sandbox", "--use-gl=angle", "--use-angle=swiftshader", "--enable-unsafe-swiftshader", "--disable-dev-shm-usage"],
  });
}

/** A page that keeps what it should not have done: requests off the origin, errors, and what its policy refused. */
export async function openPage(browser, url, options = {}) {
  const context = await browser.newContext({ acceptDownloads: true, ...options });
  const page = await context.newPage();
  page.setDefaultTimeout(PATIENCE);
  const faults = [];
  const isOwn = (address) => ["data:", "blob:"].includes(new URL(address).protocol) || address.startsWith(new URL(url).origin) ||
    (url.startsWith("file:") && address.startsWith("file:"));
  page.on("request", (request) => { if (!isOwn(request.url())) faults.push(`request of ${request.url()}`); });
  page.on("console", (message) => { if (message.type() === "error") faults.push(`console: ${message.text()}`); });
  page.on("pageerror", (error) => faults.push(`error: ${error.message}`));
  await page.goto(url);
  await page.waitForSelector("body[data-ready]");
  return { page, context, faults };
}

/** Waits until the page computes nothing. */
export const idle = (page) => page.waitForSelector("body[data-ready]:not([data-busy])");
