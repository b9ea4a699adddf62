// SPDX-License-Identifier: Apache-2.0
// The page as a person meets it, in Chromium: one browser for all tests.
import assert from "node:assert/strict";
import {mkdirSync, readFileSync, statSync} from "node:fs";
import {createRequire} from "node:module";
import {after, before, test} from "node:test";
import {fileURLToPath, pathToFileURL} from "node:url";
import {fleetOf, inFolder, makePage, readScenarios, scenarioNames} from "./readings.mjs";

const require = createRequire(inFolder("package.json"));
const {chromium} = require("playwright-core");
const axe = readFileSync(require.resolve("axe-core/axe.min.js"), "utf8");
const inPage = readFileSync(fileURLToPath(new URL("in_page.js", import.meta.url)), "utf8");
const widths = [390, 1280, 2560];

// Milliseconds for whatever is waited for in the browser; only what hangs takes so long.
const PATIENCE = 300_000;

let browser;
let readings;
let page;
let messages;
let requests;

before(async () => {
  mkdirSync(inFolder("pages"), {recursive: true});
  [browser, readings] = await Promise.all([
    chromium.launch({executablePath: process.env.CHROMIUM, args: ["--no-sandbox"], timeout: PATIENCE}),
    readScenarios(),
  ]);
});
after(() => browser?.close());

/** A page of readings, open; from here on it must stay silent and ask nobody for anything. */
async function open(pageReadings, name, options = {}) {
  const file = await makePage(pageReadings, inFolder(`pages/${name}.html`));
  await page?.context().close();
  const context = await browser.newContext({viewport: {width: 1280, height: 900}, ...options});
  context.setDefaultTimeout(PATIENCE);
  page = await context.newPage();
  messages = [];
  requests = [];
  page.on("console", (message) => messages.push(message.text()));
  page.on("pageerror", (error) => messages.push(String(error)));
  page.on("request", (request) => requests.push(request.url()));
  const url = pathToFileURL(file).href;
  await page.goto(url);
  await page.evaluate(inPage);
  return url;
}

function expectSilence(url) {
  assert.deepEqual(messages, [], "the console has messages");
  assert.deepEqual(requests.filter((asked) => asked.split("#")[0] !== url), [], "the page asked for more");
}

async function goTo(host) {
  await page.evaluate((hash) => { location.hash = hash; }, encodeURIComponent(host));
  await page.waitForFunction((wanted) => document.querySelector("#host")?.textContent === wanted, host);
}

async function expectAccessible(what, {among = [["html"]], colorSchemes = ["light", "dark"]} = {}) {
  if (!await page.evaluate(() => "axe" in globalThis)) await page.evaluate(axe);
  for (const colorScheme of colorSchemes) {
    await page.emulateMedia({colorScheme});
    const {violations} = await page.evaluate((context) =>
      globalThis.axe.run({include: context}, {resultTypes: ["violations"]}), among);
    assert.deepEqual(violations.map((v) => `${v.id}: ${v.nodes[0].html}`), [], `${what} in ${colorScheme}`);
  }
}

async function expectReadable(what) {
  for (const width of widths) {
    await page.setViewportSize({width, height: 900});
    assert.deepEqual(await page.evaluate(() => measure.troubles()), [], `${what} at ${width} pixels`);
  }
  await page.setViewportSize({width: 1280, height: 900});
}

const rows = () => page.locator("#overview tbody tr:visible");
const hosts = () => rows().locator("a").allTextContents();

// What the drawing must say of a reading, from the format's words.

const stateWords = {on: "on", off: "off", fault: "power fault", noPermission: "no permission",
                    unknown: "unknown state"};
const fanWords = {normal: "fans normal", abnormal: "fans abnormal", notPresent: "no fans",
                  unknown: "fans unknown"};
const unreadIn = (reading, kind, number, field) =>
  reading.notRead.some((missing) => missing[kind] === number && missing.field === field);

const isEmpty = (node) => node.width === null && node.height === null && node.code !== null;

function wordsOfNode(reading, node) {
  if (node.powerState === null) {
    return [unreadIn(reading, "node", node.number, "powerState") ? "not read" : "not asked"];
  }
  const words = [stateWords[node.powerState]];
  if (node.powerState === "unknown") words.push(String(node.code));
  if (isEmpty(node)) words.push("empty bay");
  else if (node.power.average !== null) words.push(`average ${node.power.average}`);
  return words;
}

function wordsOfSupply(reading, supply) {
  if (supply.present === false) return ["empty bay"];
  const words = [];
  if (supply.powerGood !== null) words.push(supply.powerGood ? "good power" : "no good power");
  else if (unreadIn(reading, "powerSupply", supply.number, "powerGood")) words.push("not read");
  if (supply.fans.state !== null) words.push(fanWords[supply.fans.state]);
  else if (unreadIn(reading, "powerSupply", supply.number, "fans")) words.push("fans not read");
  if (supply.throttling) words.push("throttling");
  if (supply.powerOffWarning) words.push("power goes off");
  return words;
}

function expectApart(boxes) {
  boxes.forEach((one, i) => boxes.slice(i + 1).forEach((other) => {
    const apart = one.x + one.width <= other.x + 0.5 || other.x + other.width <= one.x + 0.5 ||
      one.y + one.height <= other.y + 0.5 || other.y + other.height <= one.y + 0.5;
    assert.ok(apart, `${one.name} lies over ${other.name}`);
  }));
}

const nearly = (actual, expected) => Math.abs(actual - expected) < 0.1 * expected;

function expectNames(drawn, number, name, words) {
  const bays = drawn.filter((box) => box.name.startsWith(`${name}:`));
  assert.equal(bays.length, 1, `${name} is drawn ${bays.length} times`);
  for (const word of words) assert.ok(bays[0].name.includes(word), `"${bays[0].name}" lacks "${word}"`);
  return bays[0];
}

/** Compares the drawings that are shown with the reading they were made of. */
async function expectDrawn(reading) {
  const [nodes, supplies, power] = await page.evaluate(() =>
    ["Node bays", "Power supply bays", "Power against caps"].map((name) => measure.drawing(name)));
  assert.equal(nodes.length, reading.nodes.length);
  assert.equal(supplies.length, reading.powerSupplies.length);
  expectApart(nodes);
  expectApart(supplies);
  const unit = (size, count) => size * count + 4 * (count - 1); // bays have gaps between them
  const half = reading.nodes.find((node) => node.width === "half" && node.height === 1);
  const halfBox = half && nodes.find((box) => box.name.startsWith(`Node ${half.number}:`));
  for (const node of reading.nodes) {
    const box = expectNames(nodes, node.number, `Node ${node.number}`, wordsOfNode(reading, node));
    if (halfBox) {
      assert.ok(nearly(box.width, unit(halfBox.width, node.width === "full" ? 2 : 1)), `${box.name}: width`);
      assert.ok(nearly(box.height, unit(halfBox.height, node.height || 1)), `${box.name}: height`);
    }
    assert.equal(box.looks.includes("empty"), isEmpty(node), box.name);
  }
  for (const supply of reading.powerSupplies) {
    expectNames(supplies, supply.number, `PSU${supply.number}`, wordsOfSupply(reading, supply));
  }
  const {consumption, caps} = reading.power;
  const values = {"Average consumption": consumption.average, "Lowest cap": caps.lowest, "Highest cap": caps.highest,
                  "Protective cap": caps.protective, "User cap": caps.user, "Thermal cap": caps.thermal};
  if (Object.values(values).every((value) => value === null)) return assert.equal(power.length, 0);
  for (const [name, value] of Object.entries(values)) {
    const measureOf = power.find((box) => box.name.startsWith(name));
    assert.ok(value === null ? /: (none|not read)$/.test(measureOf.name)
      : measureOf.name.endsWith(`: ${value}`), measureOf.name);
  }
}

/** Everything that a reading says in words and numbers stands in the page. */
async function expectTold(reading) {
  const text = await page.locator("#enclosure").innerText();
  const error = reading.error?.message;
  const expected = [reading.host, reading.health.status, ...Object.values(reading.identity),
    reading.error?.message, ...Object.values(reading.power.consumption), ...Object.values(reading.power.caps),
    ...reading.health.findings.filter((f) => !error || !f.message.endsWith(error)).map((f) => f.message),
    ...reading.notRead.map((missing) => missing.message),
    ...reading.powerSupplies.flatMap((supply) =>
      [supply.firmware.version, supply.firmware.manufacturer, supply.fans.a.speed, supply.fans.b.speed]),
    ...reading.nodes.flatMap((node) => [node.power.minimum, node.power.average, node.power.maximum])];
  for (const value of expected.filter((v) => v !== null && v !== undefined)) {
    assert.ok(text.includes(String(value)), `the page lacks "${value}"`);
  }
}

test("every shipped scenario", async (scenarios) => {
  const url = await open([...readings.values()], "scenarios");
  assert.deepEqual((await hosts()).sort(), scenarioNames);
  for (const name of scenarioNames) {
    await scenarios.test(name, async () => {
      const reading = readings.get(name);
      await goTo(name);
      await expectDrawn(reading);
      await expectTold(reading);
      await expectReadable(name);
      await expectAccessible(name);
      expectSilence(url);
    });
  }
});

test("a page of one enclosure shows it at once, and is small", async () => {
  const reading = readings.get("faulty-vkt2");
  const url = await open([reading], "one");
  await expectDrawn(reading);
  await expectReadable("one");
  await expectAccessible("one");
  expectSilence(url);
  assert.ok(statSync(inFolder("pages/one.html")).size < 100_000);
});

const mixed = () => ["healthy-vkt2-fd-6", "faulty-vkt2", "healthy-vkt2-fc-9", "no-status", "faulty-first",
  "healthy-first", "wrong-completion-codes", "healthy-vkt2-fe-2", "https-expired-certificate", "slow"]
  .map((name) => readings.get(name));

test("a fleet of 40", async (t) => {
  const fleet = fleetOf(40, mixed());
  const url = await open(fleet, "fleet");
  const statusOf = new Map(fleet.map((reading) => [reading.host, reading.health.status]));
  const byStatus = (status) => fleet.filter((reading) => reading.health.status === status);

  await t.test("stands worst first, and is counted by status", async () => {
    const order = ["critical", "unknown", "warning", "ok"];
    const shown = (await hosts()).map((host) => order.indexOf(statusOf.get(host)));
    assert.equal(shown.length, 40);
    assert.deepEqual(shown, [...shown].sort((one, other) => one - other));
    for (const status of order) {
      assert.equal((await page.locator(`.statuses button[data-status=${status}]`).innerText()).trim(),
        `${byStatus(status).length} ${status}`);
    }
  });

  await t.test("is readable and accessible", async () => {
    await expectReadable("fleet");
    await expectAccessible("fleet");
  });

  await t.test("is filtered by text, status and group", async () => {
    const search = page.locator("input[type=search]");
    const expectShown = async (expected) => {
      assert.deepEqual((await hosts()).sort(), expected.map((reading) => reading.host).sort());
      const count = `${expected.length === 40 ? "" : `${expected.length} of `}40 enclosures`;
      assert.equal(await page.locator("[role=status]").innerText(), count);
    };
    await search.fill("ENC001");
    await expectShown(fleet.filter((reading) => reading.host.startsWith("enc001")));
    await search.fill("fault rack2");
    await expectShown(fleet.filter((reading) => reading.group === "rack2" &&
      reading.health.findings.slice(0, 3).some((finding) => /fault/.test(finding.message))));
    await search.fill("no such text");
    await expectShown([]);
    await search.fill("");
    const critical = page.locator(".statuses button[data-status=critical]");
    await critical.click();
    await expectShown(byStatus("critical"));
    await page.locator(".statuses button[data-status=ok]").click();
    await page.locator("select").selectOption("rack1");
    await expectShown([...byStatus("critical"), ...byStatus("ok")].filter((r) => r.group === "rack1"));
    await expectAccessible("filtered fleet");
    await critical.click();
    await page.locator(".statuses button[data-status=ok]").click();
    await page.locator("select").selectOption("");
    await expectShown(fleet);
  });

  await t.test("is sorted by every column, both ways", async () => {
    const text = (value) => value ?? "";
    const columns = {
      "Enclosure": (r) => r.host, "Group": (r) => text(r.group),
      "Power": (r) => r.power.consumption.average,
      "Supplies present": (r) => r.powerSupplies.length ? r.powerSupplies.filter((s) => s.present).length : null,
      "Nodes on": (r) => r.nodes.length ? r.nodes.filter((n) => n.powerState === "on").length : null,
      "Read": (r) => r.time,
    };
    const of = new Map(fleet.map((reading) => [reading.host, reading]));
    for (const [column, key] of Object.entries(columns)) {
      const button = page.locator("#overview thead").getByRole("button", {name: column, exact: true});
      for (let turn = 0; turn < 2; ++turn) {
        await button.click();
        const heading = button.locator("xpath=..");
        const ascending = await heading.getAttribute("aria-sort") === "ascending";
        assert.equal(await page.locator("th[aria-sort]").count(), 1);
        const keys = (await hosts()).map((host) => key(of.get(host)));
        const known = keys.filter((k) => k !== null);
        const sorted = [...known].sort((one, other) =>
          (one < other ? -1 : one > other ? 1 : 0) * (ascending ? 1 : -1));
        assert.deepEqual(keys, [...sorted, ...keys.filter((k) => k === null)], column);
      }
    }
    await page.getByRole("button", {name: "Status", exact: true}).click();
  });

  await t.test("is all reached by keyboard", async () => {
    await page.reload();
    const expected = await page.locator("a:visible, button:visible, input:visible, select:visible").count();
    const reached = new Set();
    for (let i = 0; i < expected; ++i) {
      await page.keyboard.press("Tab");
      reached.add(await page.evaluate(() => {
        const all = [...document.querySelectorAll("a, button, input, select")];
        const style = getComputedStyle(document.activeElement);
        return style.outlineStyle === "none" ? "not shown" : all.indexOf(document.activeElement);
      }));
    }
    assert.equal(reached.size, expected);
    assert.ok(!reached.has(-1) && !reached.has("not shown"));
    const host = await page.evaluate(() => document.activeElement.textContent);
    await page.keyboard.press("Enter");
    await page.waitForSelector("#host");
    assert.equal(await page.evaluate(() => document.activeElement.textContent), host);
    assert.equal(await page.locator("#enclosure [tabindex='0'], svg [tabindex]").count(), 0);
    await page.keyboard.press("Tab");
    await page.goBack();
    await rows().first().waitFor();
    assert.equal(await page.evaluate(() => document.activeElement.textContent), host);
  });

  await t.test("has a link to each that survives a reload", async () => {
    const {host} = fleet[16];
    await page.locator(`a[href="#${host}"]`).first().click();
    assert.ok(page.url().endsWith(`#${host}`));
    await page.reload();
    assert.equal(await page.locator("#host").innerText(), host);
    assert.equal(await page.title(), `${host} (${fleet[16].health.status})`);
    await page.evaluate(inPage);
    await expectDrawn(fleet[16]);
    await page.goto(`${url}#stranger`);
    assert.match(await page.getByRole("alert").innerText(), /no enclosure "stranger"/);
  });

  await t.test("prints without its tools", async () => {
    await page.goto(`${url}#`);
    await page.emulateMedia({media: "print"});
    assert.equal(await page.locator("input[type=search]").isVisible(), false);
    assert.equal(await rows().count(), 40);
    await page.emulateMedia({media: "screen"});
  });
  expectSilence(url);
});

test("a fleet of 1000", async () => {
  const fleet = fleetOf(1000, [readings.get("healthy-vkt2-fd-6"), ...mixed()]);
  const url = await open(fleet, "thousand");
  assert.equal(await page.locator("#overview tbody tr").count(), 1000);
  // A thousand rows are alike, and axe-core takes long for each.
  await expectAccessible("a thousand", {colorSchemes: ["light"],
    among: ["header", ".tools", "thead", "#overview tbody tr:nth-child(-n+20)"].map((part) => [part])});
  await page.locator("input[type=search]").fill("enc0999");
  assert.deepEqual(await hosts(), ["enc0999"]);
  await page.locator("input[type=search]").fill("");
  assert.equal(await page.locator("[role=status]").innerText(), "1000 enclosures");
  await goTo("enc1000");
  await expectDrawn(fleet[999]);
  assert.deepEqual(await page.evaluate(() => measure.troubles()), []);
  expectSilence(url);
});

test("a fleet of 1000 of twelve nodes is under 6 MB", async () => {
  await makePage(fleetOf(1000, [readings.get("healthy-vkt2-fc-9")]), inFolder("pages/large.html"));
  assert.ok(statSync(inFolder("pages/large.html")).size < 6_000_000);
});

/** An enclosure with every state that the format has. */
function everyState() {
  const reading = structuredClone(readings.get("healthy-vkt2-fc-9"));
  const changes = [{}, {powerState: "off"}, {powerState: "fault"}, {powerState: "noPermission"},
    {powerState: "unknown", code: 7}, {powerState: null, code: null, width: null, height: null, permission: null},
    {width: null, height: null, powerState: "off", code: 0}, {width: "unknown", widthCode: 9}, {height: 0},
    {power: {minimum: null, average: null, maximum: null}}, {height: 255}, {width: "full", height: 3}];
  changes.forEach((change, i) => Object.assign(reading.nodes[i], change));
  const fans = (state, code) => ({...reading.powerSupplies[0].fans, state, code});
  const supplies = [{}, {powerGood: false}, {powerOffWarning: true, throttling: true}, {throttling: true},
    {fans: fans("abnormal", 1)}, {fans: fans("notPresent", 0)}, {fans: fans("unknown", 9)},
    {present: false, powerGood: null, powerOffWarning: null, throttling: null, fans: fans(null, null)},
    {present: null, powerGood: null, powerOffWarning: null, throttling: null, fans: fans(null, null)}];
  supplies.forEach((change, i) => Object.assign(reading.powerSupplies[i], change));
  const unread = (object, key, number, field) => ({object, powerSupply: null, node: null, [key]: number, field,
    cause: "timedOut", message: "no answer"});
  reading.notRead = [unread("Node 6", "node", 6, "powerState"), unread("PSU9", "powerSupply", 9, "powerGood"),
    unread("PSU9", "powerSupply", 9, "fans")];
  reading.health = {status: "critical", findings: [
    {severity: "critical", object: "Node 3", powerSupply: null, node: 3, field: "powerState", message: "has a power fault"}]};
  reading.power.caps.user = 1;
  return {...reading, host: "every state", complete: false};
}

test("every state is drawn", async () => {
  const reading = everyState();
  reading.nodes[10].height = 2; // 255 rows are more than any drawing; that one is below
  const url = await open([reading], "states");
  await expectDrawn(reading);
  await expectReadable("every state");
  await expectAccessible("every state");
  assert.match((await page.evaluate(() => measure.drawing("Node bays")))[2].looks, /critical/);
  expectSilence(url);
});

test("a height that no enclosure has is drawn within bounds", async () => {
  const reading = everyState();
  await open([reading], "tall");
  const drawn = await page.evaluate(() => measure.drawing("Node bays"));
  assert.equal(drawn.length, 12);
  expectApart(drawn);
});

test("nodes stand in their own bays where sizes and numbers agree", async () => {
  const reading = structuredClone(readings.get("healthy-vkt2-fd-6"));
  reading.nodes[2].width = "full"; // bays 3 and 4
  Object.assign(reading.nodes[3], {width: null, height: null, powerState: "off", code: 0});
  await open([reading], "bays");
  await expectDrawn(reading);
  const at = Object.fromEntries((await page.evaluate(() => measure.drawing("Node bays")))
    .map((box) => [box.name.split(":")[0], box]));
  assert.equal(at["Node 5"].x, at["Node 1"].x);
  assert.equal(at["Node 5"].y - at["Node 3"].y, at["Node 3"].y - at["Node 1"].y);
  assert.ok(at["Node 4"].y > at["Node 12"].y);
});

const hostileTexts = ["</script><img src=x onerror=document.title='hit'>", "\"><b onmouseover=alert(1)>'`",
  "javascript:alert(1)", "a\u2028b\u2029c", "\u202eright to left\u200f", "<!--rows-->", "&lt;b&gt;",
  "\u0000\u001b[31m\u0085"];

test("hostile texts stay texts", async (t) => {
  const visible = (text) => text.replace(/[\u0000-\u001f\u007f-\u009f]/g, "\ufffd");
  const fleet = hostileTexts.map((text) => {
    const reading = structuredClone(readings.get("faulty-vkt2"));
    Object.assign(reading, {host: `host ${text}`, group: text, labels: {[text]: text}});
    Object.assign(reading.identity, {serialNumber: text, name: text, machineType: text, firmwareVersion: text});
    for (const supply of reading.powerSupplies) supply.firmware.manufacturer = text;
    reading.health.findings.forEach((finding) => { finding.message = text; });
    reading.error = {cause: "local", message: `because ${text}`};
    return reading;
  });
  const url = await open(fleet, "hostile");
  const title = await page.title();
  const elements = await page.evaluate(() => [...new Set([...document.querySelectorAll("*")].map((e) => e.localName))]);
  assert.ok(!elements.includes("img"));
  for (const [i, text] of hostileTexts.entries()) {
    await t.test(JSON.stringify(text), async () => {
      const link = page.locator(`a[href="#${encodeURIComponent(fleet[i].host)}"]`);
      const row = page.locator("#overview tr", {has: link});
      assert.equal(await link.textContent(), visible(fleet[i].host));
      assert.ok((await row.textContent()).includes(visible(text)));
      await link.click();
      await page.waitForSelector("#host");
      assert.equal(await page.locator("#host").textContent(), visible(fleet[i].host));
      const shown = await page.locator("#enclosure dd bdi, #enclosure td bdi").allTextContents();
      assert.ok(shown.filter((value) => value === visible(text)).length >= 4 + 5);
      assert.deepEqual(await page.evaluate(() => [...document.querySelectorAll("img, #enclosure script, #enclosure b *, [onerror], [onmouseover]")].length), 0);
      await page.evaluate(() => { location.hash = ""; });
      await link.waitFor();
    });
  }
  assert.equal(await page.title(), title);
  await expectAccessible("hostile texts");
  expectSilence(url);
});

test("without JavaScript the overview is all there", async () => {
  const fleet = fleetOf(40, mixed());
  await open(fleet, "fleet");
  const still = await browser.newContext({javaScriptEnabled: false});
  still.setDefaultTimeout(PATIENCE);
  const quiet = await still.newPage();
  await quiet.goto(page.url());
  assert.equal(await quiet.locator("#overview tbody tr").count(), 40);
  assert.match(await quiet.locator("noscript").innerText(), /JavaScript/);
  await still.close();
});

test("forced colours leave signs and words", async () => {
  const url = await open([readings.get("faulty-vkt2")], "forced", {forcedColors: "active"});
  await expectDrawn(readings.get("faulty-vkt2"));
  assert.ok(await page.locator(".bay .sign").count() >= 18);
  expectSilence(url);
});
