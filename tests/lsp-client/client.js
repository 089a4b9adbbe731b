// The language server of yoxctl with the protocol's reference client library: every request and notification
// is one of its types, and its reader and writer frame the messages.
//
//   npm install && node client.js YOXCTL
import assert from "node:assert/strict";
import { spawn } from "node:child_process";
import {
  CodeActionRequest, CompletionRequest, DefinitionRequest, DiagnosticSeverity, DidChangeTextDocumentNotification,
  DidCloseTextDocumentNotification, DidOpenTextDocumentNotification, DocumentFormattingRequest, ErrorCodes,
  ExitNotification, HoverRequest, InitializedNotification, InitializeRequest, PublishDiagnosticsNotification,
  ShutdownRequest, StreamMessageReader, StreamMessageWriter, createProtocolConnection,
} from "vscode-languageserver-protocol/node.js";

const uri = "file:///list.json";
const text = `[
  { "country": "USA" },
  { "model": "FA*", "value": "false" },
  { "model": "FA14*" }
]
`;
const server = spawn(process.argv[2], ["lsp"], { stdio: ["pipe", "pipe", "inherit"] });
const ended = new Promise(resolve => server.on("exit", resolve));
const connection = createProtocolConnection(new StreamMessageReader(server.stdout), new StreamMessageWriter(server.stdin));
connection.onError(([error]) => { throw error; });

// Diagnostics as they come, and those who wait for them.
const published = [];
const waiting = [];
connection.onNotification(PublishDiagnosticsNotification.type, message => {
  const first = waiting.shift();
  if (first) first(message); else published.push(message);
});
const diagnostics = () => published.length > 0 ? Promise.resolve(published.shift())
  : new Promise(resolve => waiting.push(resolve));
connection.listen();

const { capabilities, serverInfo } = await connection.sendRequest(InitializeRequest.type, {
  processId: process.pid, rootUri: null, capabilities: { textDocument: { publishDiagnostics: { versionSupport: true } } },
});
assert.equal(serverInfo.name, "yoxctl");
assert.equal(capabilities.positionEncoding, "utf-16");
for (const can of ["hoverProvider", "completionProvider", "codeActionProvider", "definitionProvider",
  "documentFormattingProvider"]) assert.ok(capabilities[can], can);
await connection.sendNotification(InitializedNotification.type, {});

await connection.sendNotification(DidOpenTextDocumentNotification.type,
  { textDocument: { uri, languageId: "json", version: 1, text } });
const opened = await diagnostics();
assert.deepEqual(opened.diagnostics.map(one => [one.code, one.severity]),
  [["country-unknown", DiagnosticSeverity.Error], ["unreachable", DiagnosticSeverity.Error]]);
const range = opened.diagnostics[0].range;
assert.deepEqual(range, { start: { line: 1, character: 16 }, end: { line: 1, character: 19 } });

const textDocument = { uri };
const hover = await connection.sendRequest(HoverRequest.type, { textDocument, position: { line: 1, character: 6 } });
assert.match(hover.contents.value, /ISO 3166-1/);

const completions = await connection.sendRequest(CompletionRequest.type, { textDocument, position: range.start });
assert.ok(completions.some(item => item.label === "US" && item.detail === "United States"));

const [action] = await connection.sendRequest(CodeActionRequest.type,
  { textDocument, range, context: { diagnostics: [opened.diagnostics[0]] } });
assert.deepEqual(action.edit.changes[uri], [{ range, newText: "US" }]);

const definition = await connection.sendRequest(DefinitionRequest.type,
  { textDocument, position: { line: 3, character: 16 } });
assert.equal(definition.range.start.line, 2);

await connection.sendNotification(DidChangeTextDocumentNotification.type,
  { textDocument: { uri, version: 2 }, contentChanges: [{ range, text: "US" }] });
const changed = await diagnostics();
assert.equal(changed.version, 2);
assert.deepEqual(changed.diagnostics.map(one => one.code), ["unreachable"]);

const [edit] = await connection.sendRequest(DocumentFormattingRequest.type,
  { textDocument, options: { tabSize: 2, insertSpaces: true } }) ?? [];
assert.equal(edit, undefined, "the list is laid out already");

await assert.rejects(connection.sendRequest("yox/unknown", {}), { code: ErrorCodes.MethodNotFound });
await connection.sendNotification(DidCloseTextDocumentNotification.type, { textDocument });
assert.deepEqual((await diagnostics()).diagnostics, []);

await connection.sendRequest(ShutdownRequest.type);
await connection.sendNotification(ExitNotification.type);
assert.equal(await ended, 0);
connection.dispose();
console.log("a session with the reference client passed");
