// SPDX-License-Identifier: Apache-2.0
// The page of a fleet. Its rows are there when it opens; an enclosure is drawn when its link is
// followed. Texts of modules and hosts get in by textContent and nothing else.
"use strict";
(() => {
const list = (value) => (Array.isArray(value) ? value.filter((item) => item instanceof Object) : []);
const isAbsent = (value) => value === null || value === undefined;

// Elements. Attributes without a value are left out; children that are texts stay texts.

function fill(element, attributes, children) {
  for (const [name, value] of Object.entries(attributes)) {
    if (!isAbsent(value)) element.setAttribute(name, value);
  }
  element.append(...children.flat(2).filter((child) => !isAbsent(child)));
  return element;
}
const html = (name, attributes, ...children) =>
  fill(document.createElement(name), attributes, children);
const svg = (name, attributes, ...children) =>
  fill(document.createElementNS("http://www.w3.org/2000/svg", name), attributes, children);

/** A text of a module, on its own in whatever direction it runs; controls are made visible. */
const foreign = (text) =>
  html("bdi", {}, String(text).replace(/[\u0000-\u001f\u007f-\u009f]/g, "\ufffd"));
const sign = (look) =>
  svg("svg", {class: "sign " + look, "aria-hidden": "true"}, svg("use", {href: "#sign-" + look}));
const statusMark = (look) => html("span", {class: "status " + look}, sign(look), look);

// Words. Keys are the JSON's.

const severities = ["critical", "unknown", "warning"];
const nodeWords = {
  on: "on", off: "off", fault: "power fault", noPermission: "no permission", unknown: "unknown state",
};
const fanWords = {
  normal: "fans normal", abnormal: "fans abnormal", notPresent: "no fans", unknown: "fans unknown",
};
const causeWords = {
  unreachable: "unreachable", timedOut: "no answer in time", refused: "refused", notTrusted: "not trusted",
  busy: "busy", noSuchModule: "no such module", malformedAnswer: "malformed answer",
  completionCode: "refused by the module", cancelled: "cancelled", local: "a fault on the reading side",
};
const interfaceWords = {lanplus: "RMCP+", https: "HTTPS"};
const generationWords = {first: "first", vkt2: "VKT2"};
const wordOf = (words, key) => (Object.hasOwn(words, key) ? words[key] : String(key));
const spaced = (key) => String(key).replace(/[A-Z]/g, (letter) => " " + letter.toLowerCase());

/** How long ago, or "" for a time that is none. */
function age(time) {
  const seconds = (Date.now() - Date.parse(time)) / 1000;
  if (Number.isNaN(seconds)) return "";
  if (seconds < -90) return "ahead of this clock";
  const units = [[86400, " days"], [3600, " h"], [60, " min"]];
  const unit = units.find(([length]) => seconds >= length);
  if (!unit) return "just now";
  const count = Math.floor(seconds / unit[0]);
  return (count === 1 && unit[0] === 86400 ? "1 day" : count + unit[1]) + " ago";
}
const absoluteTime = (time) => String(time).replace("T", " ").replace("Z", " UTC");

function tellAges() {
  for (const element of document.querySelectorAll("time.age")) {
    const text = age(element.dateTime) || absoluteTime(element.dateTime);
    if (element.textContent !== text) element.textContent = text;
  }
}

// One enclosure.

/** What a value is when the JSON has null for it. */
class Reading {
  constructor(json) {
    this.json = json;
    this.missing = new Set(list(json.notRead).map((m) => this.key(m.powerSupply, m.node, m.field)));
    this.findings = list(json.health?.findings);
  }
  key(supply, node, field) {
    return `${supply ?? ""}/${node ?? ""}/${field}`;
  }
  isUnread(place, field) {
    return this.missing.has(this.key(place.powerSupply, place.node, field));
  }
  /** The value; "not read"; or "none" for what the module does not have or nobody asked for. */
  text(value, place, field, show = String) {
    if (!isAbsent(value)) return show(value);
    return html("span", {class: "quiet"}, this.isUnread(place, field) ? "not read" : "none");
  }
  /** The worst finding about a supply or a node: "critical", "unknown", "warning", else undefined. */
  worst(place) {
    const about = this.findings.filter(
      (f) => (place.powerSupply && f.powerSupply === place.powerSupply) ||
             (place.node && f.node === place.node));
    return severities.find((severity) => about.some((f) => f.severity === severity));
  }
}

/** A box with a number, a sign and lines of words; all of it is the name that it goes by, too. */
function bay(box, look, number, lines, name) {
  const text = (x, y, role, words) => svg("text", {x: box.x + x, y: box.y + y, class: role}, words);
  return svg("g", {role: "img", "aria-label": name, class: "bay " + look},
    svg("rect", {x: box.x + 2, y: box.y + 2, width: box.width - 4, height: box.height - 4, rx: 5}),
    text(9, 22, "number", number),
    svg("use", {href: "#sign-" + box.sign, x: box.x + box.width - 26, y: box.y + 9, width: 16,
                height: 16, class: "sign " + box.sign}),
    lines.map((line, i) => text(9, 41 + 17 * i, i ? "quiet" : "state", line)));
}

const drawingWidth = 360;

function drawing(name, height, bays) {
  return svg("svg", {class: "drawing", role: "group", "aria-label": name,
                     viewBox: `0 0 ${drawingWidth} ${height}`}, bays);
}

const holdsNoNode = (node) => isAbsent(node.width) && isAbsent(node.height) && !isAbsent(node.code);
const columnsOf = (node) => (node.width === "full" ? 2 : 1);
// A height is any byte; the drawing stays one.
const rowsOf = (node) => Math.min(Math.max(node.height ?? 1, 1), 12);

/** Which cells of a grid of two columns are taken. */
class Grid {
  taken = new Set();
  rows = 0;
  cells(place, node) {
    const cells = [];
    for (let row = 0; row < rowsOf(node); ++row) {
      for (let column = 0; column < columnsOf(node); ++column) {
        cells.push((place.row + row) * 2 + place.column + column);
      }
    }
    return cells;
  }
  fits(place, node) {
    return place.column + columnsOf(node) <= 2 &&
      this.cells(place, node).every((cell) => !this.taken.has(cell));
  }
  take(place, node) {
    for (const cell of this.cells(place, node)) this.taken.add(cell);
    this.rows = Math.max(this.rows, place.row + rowsOf(node));
    return place;
  }
  /** Takes the place if it is free, else the first one that is. */
  put(node, wanted) {
    if (wanted && this.fits(wanted, node)) return this.take(wanted, node);
    for (let cell = 0; ; ++cell) {
      const place = {row: cell >> 1, column: cell & 1};
      if (this.fits(place, node)) return this.take(place, node);
    }
  }
}

const ownPlace = (node) => ({row: (node.number - 1) >> 1, column: (node.number - 1) & 1});

/**
 * Where the nodes are: two columns, bay by bay. A wide or tall node stands over the bays behind its
 * own; bays that it covers, which hold no node, go below. Where sizes and numbers contradict each
 * other, all bays follow in their order, each in the first place where it fits.
 */
function placesOf(nodes) {
  const grid = new Grid();
  const places = new Map();
  const occupied = nodes.filter((node) => !holdsNoNode(node));
  const agree = occupied.every((node) => {
    const own = ownPlace(node);
    return grid.fits(own, node) && places.set(node, grid.take(own, node));
  });
  if (agree) {
    for (const node of nodes.filter(holdsNoNode)) places.set(node, grid.put(node, ownPlace(node)));
    return {places, rows: grid.rows};
  }
  const inOrder = new Grid();
  places.clear();
  for (const node of nodes) places.set(node, inOrder.put(node));
  return {places, rows: inOrder.rows};
}

function nodeBay(reading, node, place) {
  const width = 180, height = 68;
  const at = {node: node.number};
  const known = !isAbsent(node.powerState);
  const unread = reading.isUnread(at, "powerState");
  const worst = reading.worst(at);
  const box = {
    x: place.column * width, y: place.row * height, width: width * columnsOf(node),
    height: height * rowsOf(node),
    sign: worst ?? (node.powerState === "on" ? "ok" : known ? "off" : "unknown"),
  };
  const state = known ? wordOf(nodeWords, node.powerState) : unread ? "not read" : "not asked";
  const empty = holdsNoNode(node);
  const size = empty ? "empty bay" :
    [node.width && `${node.width} width`, node.height && `height ${node.height}`]
      .filter(Boolean).join(", ");
  const average = node.power?.average;
  const power = isAbsent(average)
    ? reading.isUnread(at, "power") ? "power not read" : "" : `average ${average}`;
  const code = node.powerState === "unknown" ? `${state} ${node.code}` : state;
  const look = empty ? "empty" : worst ?? (node.powerState === "on" ? "ok" : known ? "off" : "unread");
  return bay(box, look, node.number, empty ? ["empty bay", code] : [code, power],
    [`Node ${node.number}: ${empty ? size + ", " + code : code}`, empty ? "" : size, empty ? "" : power]
      .filter(Boolean).join(", "));
}

function nodesDrawing(reading) {
  const nodes = list(reading.json.nodes);
  if (!nodes.length) return null;
  const {places, rows} = placesOf(nodes);
  return drawing("Node bays", rows * 68, nodes.map((node) => nodeBay(reading, node, places.get(node))));
}

function supplyBay(reading, supply, index, columns) {
  const width = drawingWidth / columns, height = 104;
  const at = {powerSupply: supply.number};
  const worst = reading.worst(at);
  const unread = (field) => reading.isUnread(at, field);
  const {present, powerGood: good} = supply;
  const fans = supply.fans?.state;
  const lines = present === false ? ["empty bay"] : [
    good === true ? "good power" : good === false ? "no good power"
      : unread("powerGood") ? "not read" : present ? "present" : "unknown",
    !isAbsent(fans) ? wordOf(fanWords, fans) : unread("fans") ? "fans not read" : "",
    supply.throttling ? "throttling" : "",
    supply.powerOffWarning ? "going off" : "",
  ].filter(Boolean);
  const look = supply.present === false ? "empty" : worst ?? (isAbsent(supply.present) ? "unread" : "ok");
  const box = {x: (index % columns) * width, y: Math.floor(index / columns) * height, width, height,
               sign: worst ?? (isAbsent(supply.present) ? "unknown" : "ok")};
  return bay(box, look, "PSU" + supply.number, lines,
    `PSU${supply.number}: ${lines.join(", ").replace("going off", "warns that its power goes off")}`);
}

function suppliesDrawing(reading) {
  const supplies = list(reading.json.powerSupplies);
  if (!supplies.length) return null;
  const columns = supplies.length > 2 ? 3 : 2;
  return drawing("Power supply bays", 104 * Math.ceil(supplies.length / columns),
    supplies.map((supply, i) => supplyBay(reading, supply, i, columns)));
}

const capNames = ["lowest", "highest", "protective", "user", "thermal"];
const capitalised = (text) => text[0].toUpperCase() + text.slice(1);
const capsThatBind = ["protective", "user", "thermal"];

function powerDrawing(reading) {
  const {consumption = {}, caps = {}} = reading.json.power ?? {};
  const {minimum, average, maximum} = consumption;
  const known = [minimum, average, maximum, ...capNames.map((name) => caps[name])]
    .filter((value) => typeof value === "number");
  if (!known.length) return null;
  const left = 104, right = 300, rowHeight = 30;
  // The largest number of the module stands for no cap at all; it would leave no room to the others.
  const scale = Math.max(...known.filter((value) => value < 65535), 1);
  const x = (value) => left + (right - left) * Math.min(value / scale, 1);
  const row = (i, look, label, value, unread, name, ...marks) => {
    const y = i * rowHeight;
    const text = isAbsent(value) ? unread ? "not read" : "none" : value;
    return svg("g", {role: "img", "aria-label": name + ": " + text, class: "measure " + look},
      svg("text", {x: 0, y: y + 20, class: "label"}, label),
      svg("line", {x1: left, x2: right, y1: y + 15, y2: y + 15, class: "track"}),
      isAbsent(value) ? [] : marks.map((mark) => mark(y)),
      svg("text", {x: drawingWidth, y: y + 20, class: isAbsent(value) ? "value quiet" : "value"}, text));
  };
  const bar = (from, to, height) => (y) =>
    svg("rect", {x: x(from), y: y + 15 - height / 2, width: Math.max(x(to) - x(from), 2), height, rx: 2});
  const place = {};
  const rows = [
    row(0, "consumption", "Average", average, reading.isUnread(place, "consumption"),
      `Average consumption, between ${minimum ?? "unknown"} and ${maximum ?? "unknown"}`,
      ...(isAbsent(minimum) || isAbsent(maximum) ? [] : [bar(Math.min(minimum, maximum), maximum, 10)]),
      (y) => svg("rect", {x: x(average) - 2, y: y + 5, width: 4, height: 20, class: "needle"})),
    ...capNames.map((name, i) => {
      const cap = caps[name];
      const exceeded = capsThatBind.includes(name) && !isAbsent(cap) && average > cap;
      const label = capitalised(name) + " cap";
      return row(i + 1, exceeded ? "warning" : "cap", label, cap, reading.isUnread(place, "caps"),
        exceeded ? label + ", exceeded" : label, bar(0, cap, 6));
    }),
  ];
  const height = rows.length * rowHeight;
  const line = isAbsent(average) ? null
    : svg("line", {x1: x(average), x2: x(average), y1: 0, y2: height, class: "average"});
  return drawing("Power against caps", height, [line, rows]);
}

// Numbers.

const numericHeadings = new Set(["Height", "Permission", "Minimum", "Average", "Maximum", "Speed A",
  "Pattern A", "Speed B", "Pattern B"]);
const kindOf = (heading) => (numericHeadings.has(heading) ? "number" : null);

/** A row's cells: the first names it; on a narrow screen each of the others shows its heading. */
function table(caption, headings, rows) {
  if (!rows.length) return null;
  return html("table", {class: "numbers"},
    html("caption", {}, caption),
    html("thead", {}, html("tr", {}, headings.map((h) =>
      html("th", {scope: "col", class: kindOf(h)}, h)))),
    html("tbody", {}, rows.map(([name, ...values]) => html("tr", {},
      html("th", {scope: "row"}, name),
      values.map((value, i) =>
        html("td", {"data-heading": headings[i + 1], class: kindOf(headings[i + 1])}, value))))));
}

function facts(heading, pairs) {
  return html("section", {class: "facts"}, html("h3", {}, heading),
    html("dl", {}, pairs.map(([name, value]) =>
      html("div", {}, html("dt", {}, name), html("dd", {}, value)))));
}

function supplyTable(reading) {
  const flag = (value) => (value ? "yes" : "no");
  return table("Power supplies", ["PSU", "Present", "Good power", "Power-off warning", "Throttling", "Fans",
    "Speed A", "Pattern A", "Speed B", "Pattern B"], list(reading.json.powerSupplies).map((supply) => {
    const at = {powerSupply: supply.number};
    const bit = (field) => reading.text(supply[field], at, field, flag);
    const fans = supply.fans ?? {};
    const fan = (value, show) => reading.text(value, at, "fans", show);
    return ["PSU" + supply.number, bit("present"), bit("powerGood"), bit("powerOffWarning"),
      bit("throttling"), fan(fans.state, (key) => spaced(key) + (key === "unknown" ? ` ${fans.code}` : "")),
      fan(fans.a?.speed), fan(fans.a?.pattern), fan(fans.b?.speed), fan(fans.b?.pattern)];
  }));
}

function firmwareTable(reading) {
  return table("Power supply firmware", ["PSU", "Name", "Version", "Manufacturer", "Position"],
    list(reading.json.powerSupplies).map((supply) => {
      const firmware = supply.firmware ?? {};
      const cell = (member, field) =>
        reading.text(firmware[member], {powerSupply: supply.number}, field, foreign);
      return ["PSU" + supply.number, cell("name", "version"), cell("version", "version"),
        cell("manufacturer", "manufacturer"), cell("position", "position")];
    }));
}

function nodeTable(reading) {
  const coded = (words, code) => (key) => wordOf(words, key) + (key === "unknown" ? ` ${code}` : "");
  return table("Nodes", ["Node", "Power state", "Width", "Height", "Permission", "Minimum", "Average",
    "Maximum"], list(reading.json.nodes).map((node) => {
    const at = {node: node.number};
    const state = (value, show) => reading.text(value, at, "powerState", show);
    const power = (value) => reading.text(value, at, "power");
    return [String(node.number),
      state(node.powerState, coded({...nodeWords, unknown: "unknown"}, node.code)),
      state(node.width, coded({}, node.widthCode)), state(node.height), state(node.permission),
      power(node.power?.minimum), power(node.power?.average), power(node.power?.maximum)];
  }));
}

function identityFacts(reading) {
  const identity = reading.json.identity ?? {};
  if (Object.values(identity).every(isAbsent)) return null;
  const fact = (label, field) => [label, reading.text(identity[field], {}, field, foreign)];
  return facts("Identity", [fact("Machine type", "machineType"), fact("Serial number", "serialNumber"),
    fact("Firmware version", "firmwareVersion"), fact("Name", "name")]);
}

function moduleFacts(reading) {
  const {module = {}, time} = reading.json;
  const fact = (label, field, show) => [label, reading.text(module[field], {}, field, show)];
  const host = String(module.address ?? "");
  const address = host.includes(":") ? `[${host}]` : host;
  return facts("Management module", [
    ["Address", foreign(`${address}:${module.port}`)],
    ["Interface", wordOf(interfaceWords, module.interface) +
      (isAbsent(module.cipherSuite) ? "" : `, cipher suite ${module.cipherSuite}`)],
    fact("Generation", "generation", (key) => wordOf(generationWords, key)),
    fact("Platform", "platformId", (id) => "0x" + id.toString(16)),
    fact("Power supplies", "powerSupplyCount"), fact("Nodes", "nodeCount"),
    ["Read", absoluteTime(time)]]);
}

function powerFacts(reading) {
  const power = reading.json.power ?? {};
  if (Object.values(power).every((group) => Object.values(group ?? {}).every(isAbsent))) return null;
  const fact = (group, field, behind) =>
    [capitalised(field) + behind, reading.text(power[group]?.[field], {}, group)];
  return facts("Power", [
    ...["minimum", "average", "maximum"].map((field) => fact("consumption", field, "")),
    ...capNames.map((field) => fact("caps", field, " cap"))]);
}

// What is wrong.

function findingItem(severity, object, message) {
  return html("li", {}, sign(severity), html("span", {}, html("b", {}, severity), " ",
    foreign(object), " ", foreign(message)));
}

/** Whether the module told what it is, without which nothing else is asked. */
const endOf = (json) =>
  (isAbsent(json.module?.powerSupplyCount) ? "Not read" : "The reading ended early");

function attention(reading) {
  const {error} = reading.json;
  // What a read that ended early did not reach would only repeat why it ended.
  const findings = error
    ? reading.findings.filter((f) => !String(f.message).endsWith(error.message)) : reading.findings;
  const items = findings.map((f) => findingItem(f.severity, f.object, f.message));
  if (error) {
    items.unshift(html("li", {}, sign("unknown"), html("span", {},
      html("b", {}, `${endOf(reading.json)}: ${wordOf(causeWords, error.cause)}`), "; ",
      foreign(error.message))));
  }
  return html("section", {class: "attention", "aria-labelledby": "attention"},
    html("h3", {id: "attention"}, "Needs attention"),
    items.length ? html("ul", {}, items)
      : html("p", {class: "quiet"}, reading.json.health?.status === "ok" ? "Nothing."
        : "Nothing that tells about health was read."));
}

/** What was not read, by reason. */
function unread(reading) {
  const reasons = new Map();
  for (const missing of list(reading.json.notRead)) {
    const reason = JSON.stringify([missing.cause, missing.message]);
    if (!reasons.has(reason)) reasons.set(reason, new Map());
    const objects = reasons.get(reason);
    objects.set(missing.object, [...objects.get(missing.object) ?? [], spaced(missing.field)]);
  }
  if (!reasons.size) return null;
  return html("section", {class: "facts unread"}, html("h3", {}, "Not read, and why"),
    html("dl", {}, [...reasons].map(([reason, objects]) => {
      const [cause, message] = JSON.parse(reason);
      return html("div", {},
        html("dt", {}, html("b", {}, wordOf(causeWords, cause)), " ", foreign(message)),
        [...objects].map(([object, fields]) =>
          html("dd", {}, foreign(object), ": ", foreign(fields.join(", ")))));
    })));
}

/** What can be drawn, and the numbers beside it. */
function panels(reading) {
  const panel = (heading, drawn) =>
    drawn && html("section", {class: "panel"}, html("h3", {}, heading), drawn);
  const nodes = panel("Nodes", nodesDrawing(reading));
  const others = [panel("Power supplies", suppliesDrawing(reading)),
    panel("Power against caps", powerDrawing(reading))].filter(Boolean);
  return [nodes, others.length ? html("div", {class: "stack"}, others) : null,
    html("div", {class: "stack"}, identityFacts(reading), powerFacts(reading), moduleFacts(reading))];
}

function enclosure(json, neighbours) {
  const reading = new Reading(json);
  const status = json.health?.status ?? "unknown";
  const name = json.identity?.name;
  const labels = Object.entries(json.labels ?? {}).map(([key, value]) => `${key} ${value}`);
  const about = [name, json.group && "group " + json.group, ...labels].filter(Boolean);
  return [
    neighbours,
    html("header", {}, html("h2", {id: "host", tabindex: "-1"}, foreign(json.host)), statusMark(status),
      html("p", {class: "quiet"}, about.map((text) => [foreign(text), " \u00b7 "]), "read ",
        html("time", {class: "age", datetime: json.time}))),
    attention(reading),
    html("div", {class: "panels"}, panels(reading)),
    unread(reading),
    html("div", {class: "tables"}, supplyTable(reading), nodeTable(reading), firmwareTable(reading)),
  ];
}

// The overview.

const element = (selector) => document.querySelector(selector);
const overview = element("#overview");
const article = element("#enclosure");
const body = element("#overview tbody");
const search = element("input[type=search]");
const group = element("select");
const statusButtons = [...document.querySelectorAll(".statuses button")];
const sortButtons = [...document.querySelectorAll("#overview th button")];
const count = element("[role=status]");

const hostOf = (hash) => {
  try {
    return decodeURIComponent(hash.slice(1));
  } catch {
    return hash.slice(1); // typed by hand
  }
};
const rows = [...body.rows].map((row, index) => {
  const link = row.querySelector("a");
  return {row, index, link, host: hostOf(link.hash), shown: true,
          words: row.textContent.toLowerCase(),
          status: row.dataset.status, group: row.dataset.group ?? ""};
});
const byHost = new Map(rows.map((entry) => [entry.host, entry]));
let order = rows;
let islandLines;

/** Only the enclosure that is looked at is parsed: a line of the island each. */
function read(entry) {
  islandLines ??= element("#readings").textContent.trim().split("\n");
  return JSON.parse(islandLines[entry.index + 1].replace(/,$/, ""));
}

function applyFilter() {
  const words = search.value.toLowerCase().split(/\s+/).filter(Boolean);
  const statuses = statusButtons.filter((button) => button.ariaPressed === "true")
    .map((button) => button.dataset.status);
  let matching = 0;
  for (const entry of rows) {
    const shown = (!statuses.length || statuses.includes(entry.status)) &&
      (!group.value || entry.group === group.value) &&
      words.every((word) => entry.words.includes(word));
    if (shown !== entry.shown) entry.row.hidden = !shown;
    entry.shown = shown;
    matching += shown;
  }
  const all = `${rows.length} enclosure${rows.length === 1 ? "" : "s"}`;
  count.textContent = matching === rows.length ? all : `${matching} of ${all}`;
}

/** What a column is sorted by: what its cell says it is worth, else its text. */
function keyOf(entry, column) {
  const cell = entry.row.cells[column];
  const value = cell.dataset.value ?? cell.textContent.trim();
  return value === "" || Number.isNaN(Number(value)) ? value : Number(value);
}

const collator = new Intl.Collator("en", {numeric: true, sensitivity: "base"});
const compare = (one, other) =>
  typeof one === "number" && typeof other === "number" ? one - other
    : collator.compare(String(one), String(other));

/** Equal ones stay in the order of the page; a row without a value is last in either direction. */
function sortBy(button) {
  const heading = button.parentElement;
  const column = heading.cellIndex;
  const first = button.dataset.first ?? "ascending";
  const opposite = first === "ascending" ? "descending" : "ascending";
  const direction = heading.ariaSort === first ? opposite : first;
  for (const other of sortButtons) other.parentElement.removeAttribute("aria-sort");
  heading.setAttribute("aria-sort", direction);
  const sense = direction === "ascending" ? 1 : -1;
  const keyed = rows.map((entry) => ({entry, key: keyOf(entry, column)}));
  keyed.sort((one, other) => (one.key === "") - (other.key === "") ||
    sense * compare(one.key, other.key) || one.entry.index - other.entry.index);
  order = keyed.map(({entry}) => entry);
  body.replaceChildren(...order.map((entry) => entry.row));
}

function neighboursOf(entry) {
  if (rows.length === 1) return null;
  const shown = order.filter((other) => other.shown || other === entry);
  const at = shown.indexOf(entry);
  const link = (other, before, behind) => other &&
    html("a", {href: other.link.getAttribute("href")}, before, foreign(other.host), behind);
  return html("nav", {"aria-label": "Enclosures"},
    html("a", {href: "#"}, "All enclosures"),
    link(shown[at - 1], "\u2190 ", ""), link(shown[at + 1], "", " \u2192"));
}

let drawn = null;

/** Shows what the address names: an enclosure, or all of them. */
function follow() {
  const host = hostOf(location.hash);
  const entry = byHost.get(host) ?? (rows.length === 1 && !host ? rows[0] : undefined);
  element("#stranger").textContent = host && !entry ? `There is no enclosure "${host}" on this page.` : "";
  overview.hidden = entry !== undefined && rows.length > 1;
  article.hidden = entry === undefined;
  if (entry) {
    article.replaceChildren(...fill(new DocumentFragment(), {}, enclosure(read(entry), neighboursOf(entry)))
      .childNodes);
    article.setAttribute("aria-labelledby", "host");
  } else {
    article.replaceChildren();
  }
  document.title = entry ? `${entry.host} (${entry.status})` : title;
  tellAges();
  const left = drawn;
  drawn = entry ?? null;
  return entry ? element("#host") : left?.link;
}

const title = document.title;
search.addEventListener("input", applyFilter);
group.addEventListener("change", applyFilter);
for (const button of statusButtons) {
  button.addEventListener("click", () => {
    button.ariaPressed = button.ariaPressed === "true" ? "false" : "true";
    applyFilter();
  });
}
for (const button of sortButtons) button.addEventListener("click", () => sortBy(button));
addEventListener("hashchange", () => {
  const next = follow();
  scrollTo(0, 0);
  next?.focus();
});
setInterval(tellAges, 15000);
applyFilter();
follow();
})();
