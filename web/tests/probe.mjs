// Whether there is a Chromium that starts and draws: ends with 0 if so, with 1 otherwise.
import { launch } from "./browser.mjs";

try {
  const browser = await launch();
  const page = await browser.newPage();
  const isDrawn = await page.evaluate(() => document.createElement("canvas").getContext("webgl2") !== null);
  await browser.close();
  process.exit(isDrawn ? 0 : 1);
} catch (error) {
  console.error(String(error.message).split("\n")[0]);
  process.exit(1);
}
