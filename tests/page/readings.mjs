// SPDX-License-Identifier: Apache-2.0
// Readings to make pages of: of every shipped scenario, as the command reads it from the simulator,
// and fleets made of those.
import {execFile, spawn} from "node:child_process";
import {readdirSync} from "node:fs";
import {basename, join} from "node:path";
import {createInterface} from "node:readline";

const {VKTINVENTORY, VKT_SIMULATOR, VKT_SCENARIOS} = process.env;

const firstLine = async (stream) => {
  for await (const line of createInterface(stream)) return line;
  throw new Error("the simulator ended before it said where it is");
};

/** What the command prints of one scenario, whatever its exit code. */
export async function read(scenario) {
  const simulator = spawn(VKT_SIMULATOR, ["--scenario", scenario], {stdio: ["ignore", "pipe", "inherit"]});
  try {
    const {rmcp, https} = JSON.parse(await firstLine(simulator.stdout));
    const overHttps = scenario.startsWith("https-");
    const {address, port, user} = overHttps ? https : rmcp;
    const words = ["-I", overHttps ? "https" : "lanplus", "-H", address, "-p", String(port), "-U", user, "-E",
      ...(overHttps ? ["--ca-file", https.certificateFile] : []), "--timeout", "6", "--format", "json", "show"];
    const environment = {...process.env, IPMI_PASSWORD: (overHttps ? https : rmcp).password};
    const printed = await new Promise((resolve) =>
      execFile(VKTINVENTORY, words, {env: environment}, (_, out) => resolve(out)));
    return {...JSON.parse(printed), host: scenario};
  } finally {
    simulator.kill();
  }
}

export const scenarioNames = readdirSync(VKT_SCENARIOS).filter((name) => name.endsWith(".json"))
  .map((name) => basename(name, ".json")).sort();

/** By scenario; several are read at a time, as most of a reading is waiting. */
export async function readScenarios() {
  const waiting = [...scenarioNames];
  const readings = new Map();
  const worker = async () => {
    for (let name; (name = waiting.shift()); ) readings.set(name, await read(name));
  };
  await Promise.all(Array.from({length: 6}, worker));
  return readings;
}

/** So many enclosures of the given kinds in turn, in four racks. */
export function fleetOf(count, kinds) {
  return Array.from({length: count}, (_, i) => {
    const reading = structuredClone(kinds[i % kinds.length]);
    const rack = 1 + Math.floor(i * 4 / count);
    const host = `enc${String(i + 1).padStart(4, "0")}`;
    Object.assign(reading, {host, group: `rack${rack}`, labels: {site: rack < 3 ? "north" : "south"},
      time: new Date(Date.UTC(2026, 10, 21, 19, i % 60)).toISOString().replace(".000", "")});
    reading.module.address = host;
    if (reading.identity?.serialNumber) reading.identity.serialNumber = `J30${String(i).padStart(5, "0")}`;
    if (typeof reading.power?.consumption.average === "number") reading.power.consumption.average += i * 7 % 1000;
    return reading;
  });
}

/** The page of readings, made by the command. */
export function makePage(readings, file) {
  return new Promise((resolve, reject) => {
    const made = execFile(VKTINVENTORY, ["page", "--from", "-", "-o", file], (error, _, complaint) =>
      (error || complaint ? reject(new Error(`page: ${error?.code} ${complaint}`)) : resolve(file)));
    made.stdin.end(readings.map((reading) => JSON.stringify(reading)).join("\n"));
  });
}

export const inFolder = (name) => join(process.env.PAGE_TEST_FOLDER, name);
