// SPDX-License-Identifier: Apache-2.0
// What docs/page.md says of sizes and times.
import {execFileSync} from "node:child_process";
import {mkdirSync, statSync, writeFileSync} from "node:fs";
import {createRequire} from "node:module";
import {pathToFileURL} from "node:url";
import {fleetOf, inFolder, makePage, read} from "../../tests/page/readings.mjs";

const {chromium} = createRequire(inFolder("package.json"))("playwright-core");
const middle = (numbers) => [...numbers].sort((one, other) => one - other)[numbers.length >> 1];
const p95 = (numbers) => [...numbers].sort((one, other) => one - other)[Math.floor(numbers.length * 0.95)];
const tell = (what, value) => console.log(what.padEnd(64), value);

mkdirSync(inFolder("pages"), {recursive: true});
const healthy = await read("healthy-vkt2-fc-9");
const faulty = await read("faulty-vkt2");

const one = await makePage([faulty], inFolder("pages/bench-one.html"));
tell("page of one, KB", (statSync(one).size / 1e3).toFixed(0));

const json = inFolder("pages/bench.json");
const file = inFolder("pages/bench.html");
writeFileSync(json, JSON.stringify(fleetOf(1000, [healthy, healthy, healthy, faulty])));
const times = Array.from({length: 5}, () => {
  const begun = performance.now();
  execFileSync(process.env.VKTINVENTORY, ["page", "--from", json, "-o", file]);
  return performance.now() - begun;
});
tell("making the page of 1000 (12 nodes, 9 supplies), ms, middle of 5", middle(times).toFixed(0));
tell("page of 1000, MB", (statSync(file).size / 1e6).toFixed(2));

const browser = await chromium.launch({executablePath: process.env.CHROMIUM, args: ["--no-sandbox"]});
const opened = [];
let page;
for (let i = 0; i < 5; ++i) {
  await page?.close();
  page = await browser.newPage({viewport: {width: 1280, height: 900}});
  await page.goto(pathToFileURL(file).href);
  opened.push(await page.evaluate(() =>
    performance.getEntriesByType("navigation")[0].domContentLoadedEventEnd));
}
tell("from opening it until filter and links work, ms, middle of 5", middle(opened).toFixed(0));

const session = await page.context().newCDPSession(page);
await session.send("Performance.enable");
const busy = async () =>
  (await session.send("Performance.getMetrics")).metrics.find((m) => m.name === "TaskDuration").value * 1e3;
const keystrokes = [];
await page.focus("input[type=search]");
for (const text of ["enc01", "fault rack3", "j3000", "rack1 psu5", "critical"]) {
  for (const key of [...text, ...[...text].map(() => "Backspace")]) {
    const before = await busy();
    await page.keyboard.press(key === " " ? "Space" : key);
    await page.evaluate(() => new Promise((done) => requestAnimationFrame(() => requestAnimationFrame(done))));
    keystrokes.push(await busy() - before);
  }
}
tell(`all tasks of a keystroke in the filter, ms, middle of ${keystrokes.length}`, middle(keystrokes).toFixed(0));
tell("the same, 95th percentile", p95(keystrokes).toFixed(0));
await browser.close();
