// The list examples/fleet/list-3.json on a fleet, decided by yoxctl and by the same rules written by
// hand as SQL for DuckDB: both must give the same counts, the whole funnel, before any time counts.
//
//   npm install && node compare.js YOXCTL [COPIES]
//
// The fleet is the devices of examples/fleet of which every fact is known, COPIES times (200): SQL by
// hand says nothing about the others, where NULL would silently be "does not apply". The SQL knows of
// the roll-out what yoxctl computes for each device: that it is the 16th day in every time zone of
// this fleet, and the salt of the bucket.
import { execFileSync } from "node:child_process";
import { mkdtempSync, readFileSync, rmSync, statSync, writeFileSync } from "node:fs";
import { availableParallelism, tmpdir } from "node:os";
import { dirname, join } from "node:path";
import { fileURLToPath } from "node:url";
import { DuckDBInstance } from "@duckdb/node-api";

const example = join(dirname(fileURLToPath(import.meta.url)), "../../examples/fleet");
const [yoxctl, copies = "200"] = process.argv.slice(2);
const runs = 5;
const folder = mkdtempSync(join(tmpdir(), "fleet-"));
const file = join(folder, "devices.jsonl");

const known = readFileSync(join(example, "devices.jsonl"), "utf8").trimEnd().split("\n").map(JSON.parse)
  .filter(device => ["tags", "registry", "os_version", "time_zone", "serial_number"].every(key => key in device));
writeFileSync(file, Array.from({ length: +copies }, (_, copy) =>
  known.map(device => JSON.stringify({ ...device, id: `${copy}-${device.id}` }) + "\n").join("")).join(""));

const texts = ["id", "country", "enclosure", "os_version", "version", "serial_number"];
const columns = `{${texts.map(name => `${name}: 'VARCHAR'`).join(", ")}, tags: 'MAP(VARCHAR, VARCHAR)',
  registry: 'MAP(VARCHAR, MAP(VARCHAR, VARCHAR))'}`;
const source = `read_json('${file}', format = 'newline_delimited', columns = ${columns})`;
const version = name => `list_transform(string_split(${name}, '.'), x -> TRY_CAST(x AS INTEGER))`;
// The rules of the list, criteria in the order of evaluation.
const filters = [
  { applies: false, criteria: { tag: "lower(tags['Device.Usage.IsManagedDevice']) = 'true'" } },
  { applies: true, criteria: { tag: "lower(tags['Ring']) = 'pilot'" } },
  { applies: true, criteria: {
    country: "upper(country) IN ('US', 'CA', 'GB')",
    date_function: "('0x' || substr(sha256('Tervan.YOX.Rollout.1|' || serial_number), 1, 3))::INTEGER <= 16 / 28.0 * 4095",
    enclosure: "lower(enclosure) IN ('notebook', 'laptop', 'convertible')",
    os_version: `${version("os_version")} >= [10, 0, 22000]` } },
  { applies: true, criteria: {
    country: "upper(country) IN ('DE', 'AT', 'CH')",
    registry: "lower(registry['HKLM\\SOFTWARE\\Contoso\\App']['Channel']) = 'beta'",
    version: `${version("version")} >= [4, 2]` } },
  { applies: false, criteria: {} }];

// Who gets the list: SQL decides as lazily as it likes.
const verdicts = `SELECT count(*)::INTEGER AS devices, (count(*) FILTER (WHERE CASE ${filters.slice(0, -1).map(filter =>
  `WHEN ${Object.values(filter.criteria).join(" AND ")} THEN ${filter.applies}`).join(" ")} ELSE false END))::INTEGER
  AS applies FROM ${source}`;

// And why: for each filter how many reached it and were decided, and each criterion's exclusions.
const name = (filter, criterion) => `f${filter}_${criterion}`;
const all = names => names.join(" AND ") || "true";
const flags = filters.flatMap(({ criteria }, i) =>
  Object.entries(criteria).map(([criterion, sql]) => `coalesce(${sql}, false) AS ${name(i, criterion)}`));
const matches = filters.map(({ criteria }, i) => `(${all(Object.keys(criteria).map(c => name(i, c)))})`);
const measures = filters.flatMap(({ criteria }, i) => {
  const reached = all(matches.slice(0, i).map(match => `NOT ${match}`));
  const names = Object.keys(criteria);
  const others = criterion => all(names.filter(other => other !== criterion).map(other => name(i, other)));
  const before = criterion => all(names.slice(0, names.indexOf(criterion)).map(other => name(i, other)));
  return [[`reached${i}`, reached], [`decided${i}`, `${reached} AND ${matches[i]}`],
    ...names.flatMap(c => [[`first_${name(i, c)}`, `${reached} AND ${before(c)} AND NOT ${name(i, c)}`],
      [`only_${name(i, c)}`, `${reached} AND ${others(c)} AND NOT ${name(i, c)}`]])];
});
const funnel = `SELECT count(*)::INTEGER AS devices, ${measures.map(([as, condition]) =>
  `(count(*) FILTER (WHERE ${condition}))::INTEGER AS ${as}`).join(", ")} FROM (SELECT ${flags.join(", ")} FROM ${source})`;

const database = await (await DuckDBInstance.create(":memory:")).connect();
const ask = async query => (await database.runAndReadAll(query)).getRowObjects()[0];
// The counts, and the processor's time in seconds as the shell gives it: "0m1.25s 0m0.50s" after its own.
function decide(jobs) {
  const output = execFileSync("sh", ["-c", '"$@" && times', "sh", yoxctl, "fleet", "decide", join(example, "list-3.json"),
    "--facts", file, "--at", "2026-01-20T12:00:00Z", "--jobs", `${jobs}`, "--format", "json"], { encoding: "utf8" });
  const [, user, system] = output.match(/0m[\d.]+s 0m[\d.]+s\n0m([\d.]+)s 0m([\d.]+)s\s*$/);
  return { counts: JSON.parse(output.slice(0, output.lastIndexOf("}") + 1)), processor: +user + +system };
}
async function query(sql) {
  const before = process.cpuUsage();
  const counts = await ask(sql);
  const used = process.cpuUsage(before);
  return { counts, processor: (used.user + used.system) / 1e6 };
}

// Medians, in seconds.
async function measured(run) {
  const elapsed = [], processor = [];
  for (let i = 0; i < runs; ++i) {
    const start = performance.now();
    processor.push((await run()).processor);
    elapsed.push((performance.now() - start) / 1000);
  }
  const median = values => values.sort((a, b) => a - b)[(runs - 1) / 2];
  return [median(elapsed), median(processor)];
}

try {
  const ours = decide(1).counts, theirs = (await query(verdicts)).counts, why = (await query(funnel)).counts;
  const agree = (what, a, b) => {
    if (a !== b) throw new Error(`${what}: yoxctl counts ${a}, the SQL ${b}`);
  };
  agree("devices", ours.devices, theirs.devices);
  agree("applies", ours.applies, theirs.applies);
  agree("undetermined", ours.undetermined, 0);
  ours.filters.forEach((filter, i) => {
    agree(`filter ${i}, reached`, filter.reached, why[`reached${i}`]);
    agree(`filter ${i}, decided`, filter.decided, why[`decided${i}`]);
    for (const criterion of Object.keys(filters[i].criteria)) {
      for (const [kind, counts] of [["first", filter.first_excluded_by], ["only", filter.only_excluded_by]]) {
        agree(`filter ${i}, ${criterion}, ${kind}`, counts[criterion] ?? 0, why[`${kind}_${name(i, criterion)}`]);
      }
    }
  });
  console.log(`${ours.devices} devices, ${(statSync(file).size / 1e6).toFixed(0)} MB; the list applies to ${ours.applies}, both agree`);
  console.log("threads                                      elapsed  processor  devices per second of processor");
  for (const threads of [...new Set([1, availableParallelism()])]) {
    await database.run(`SET threads = ${threads}`);
    for (const [name, [elapsed, processor]] of [
      ["yoxctl fleet decide", await measured(() => decide(threads))],
      ["DuckDB, the same funnel", await measured(() => query(funnel))],
      ["DuckDB, the verdicts alone", await measured(() => query(verdicts))]]) {
      console.log(`${threads}  ${name.padEnd(38)} ${elapsed.toFixed(2)} s     ${processor.toFixed(2)} s  ${Math.round(ours.devices / processor)}`);
    }
  }
} finally {
  database.closeSync();
  rmSync(folder, { recursive: true });
}
