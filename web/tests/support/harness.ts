// What the browser tests and the page's benchmarks share: a generated package of N placed actors in a
// temporary store, `pathwright map` started on a store, calls to its /rpc, Debian's chromium, waiting until
// a reading holds, where an element stands on screen, and the screen position of a world point worked out
// from the map's own cursor box (what a person reads), so that a dot on the canvas can be found and
// clicked; and browserSuite, the browser tests' one setup: their steps as node:test cases on one page. Test
// use only; single-threaded.
import { spawn, type ChildProcess } from 'node:child_process';
import { mkdirSync, mkdtempSync, rmSync, writeFileSync } from 'node:fs';
import { tmpdir } from 'node:os';
import { join } from 'node:path';
import { createInterface } from 'node:readline';
import assert from 'node:assert/strict';
import { after, before, describe, it } from 'node:test';
import { chromium, type BrowserContext, type Page } from 'playwright-core';

export type { CDPSession, Page } from 'playwright-core'; // for the page's benchmarks in bench/web, outside this package

const CHROMIUM = '/usr/bin/chromium';
const CHROMIUM_ARGS = ['--headless', '--no-sandbox', '--disable-gpu', '--disable-quic', '--no-first-run',
  '--disable-background-networking', '--disable-component-update', '--disable-sync'];
const START_TIMEOUT_MS = 60000; // the server's first line; a sanitizer build opening 50,000 actors is slow
const VIEWPORT = { width: 1400, height: 900 };

export interface Generated { id: string; walker: 'resident' | 'patroller' | 'model'; x: number; z: number; points: number }

// A small linear congruential generator: the same package on every run.
function sequence(seed: number): () => number {
  let state = seed >>> 0;
  return () => ((state = (Math.imul(state, 1664525) + 1013904223) >>> 0) / 2 ** 32);
}

// A store folder holding NAME.json with `count` actors spread over a square of `spread` world units
// around the origin: seven in ten residents, two Bokoblins or Moblins, one the mod's own model, each
// with a route of 2 to 5 points near its position.
export function generateStore(name: string, count: number, spread: number): { dir: string; actors: Generated[] } {
  const next = sequence(count);
  const actors: Generated[] = [];
  const placed: unknown[] = [];
  const coordinate = () => Math.round((next() - 0.5) * spread * 4) / 4;
  for (let i = 0; i < count; ++i) {
    const pick = Math.floor(next() * 10);
    const walker = pick === 0 ? 'model' : pick <= 2 ? 'patroller' : 'resident';
    const position = { x: coordinate(), y: 100, z: coordinate() };
    const points = Array.from({ length: 2 + Math.floor(next() * 4) }, () =>
      ({ x: position.x + Math.round((next() - 0.5) * 400), y: 100, z: position.z + Math.round((next() - 0.5) * 400) }));
    const id = walker === 'model' ? `ferry_${i}` : walker === 'patroller' ? `camp_guard_${i}` : `villager_${i}`;
    const kind = walker === 'model' ? { kind: 'mod', model: 'models/ferry_boat.obj', speed: 60 }
      : walker === 'patroller' ? { actor: pick === 1 ? 'bokoblin' : 'moblin' }
      : { actor: 'resident', parameters: { resident: 'ub3' } };
    placed.push({ id, ...kind, position, rotation: 0, path: { mode: 'loop', points } });
    actors.push({ id, walker, x: position.x, z: position.z, points: points.length });
  }
  const dir = mkdtempSync(join(tmpdir(), 'pathwright-big-'));
  writeFileSync(join(dir, `${name}.json`), JSON.stringify({ name, actors: placed }));
  return { dir, actors };
}

export interface Server { process: ChildProcess; origin: string; token: string }

// `pathwright map` on `args` (a port is picked); answers once it printed its address.
export async function startMap(binary: string, args: string[]): Promise<Server> {
  const server = spawn(binary, ['map', '--port', '0', ...args], { stdio: ['ignore', 'pipe', 'inherit'] });
  const firstLine: string = await new Promise((resolve, reject) => {
    const timer = setTimeout(() => reject(new Error('pathwright map printed no address')), START_TIMEOUT_MS);
    createInterface({ input: server.stdout! }).once('line', (line) => (clearTimeout(timer), resolve(line)));
    server.once('exit', (code) => reject(new Error(`pathwright map ended early with ${code}`)));
  });
  const match = /^Pathwright map: (http:\/\/127\.0\.0\.1:\d+)\/#token=([0-9a-f]{32})$/.exec(firstLine);
  assert.ok(match, `unexpected first line: ${firstLine}`);
  return { process: server, origin: match[1], token: match[2] };
}

// The JSON-RPC reply to one call through the map's /rpc, error or not.
export async function rpcReply(server: Server, method: string, params: Record<string, unknown>): Promise<any> {
  const answer = await fetch(`${server.origin}/rpc`, { method: 'POST', headers: { Authorization: `Bearer ${server.token}` },
    body: JSON.stringify({ jsonrpc: '2.0', id: 1, method, params }) });
  return answer.json();
}

// The result of one call; a refused call fails the test with the server's error.
export async function rpc(server: Server, method: string, params: Record<string, unknown>): Promise<any> {
  const reply = await rpcReply(server, method, params);
  assert.ok(!reply.error, `${method}: ${JSON.stringify(reply.error)}`);
  return reply.result;
}

// Waits until `read` gives a value that `holds`, looking again every 100 ms; after `ms` the test fails with
// `what` and the last value read.
export async function until<T>(read: () => Promise<T>, holds: (v: T) => boolean, what: string, ms = 5000): Promise<T> {
  const deadline = Date.now() + ms;
  for (;;) {
    const v = await read();
    if (holds(v)) return v;
    if (Date.now() > deadline) throw new Error(`${what}: still ${JSON.stringify(v)}`);
    await new Promise((r) => setTimeout(r, 100));
  }
}

// Where an element stands on screen. A redraw replaces the route's markers, so a marker may be missing for a
// moment after an edit: look again for up to a second before giving up.
export async function centre(page: Page, selector: string): Promise<{ x: number; y: number }> {
  const box = (await until(() => page.locator(selector).first().boundingBox(), (b) => b !== null, `${selector} is not on screen`, 1000))!;
  return { x: box.x + box.width / 2, y: box.y + box.height / 2 };
}

// The world position the map's cursor box shows with the mouse at `at` (moved there from a pixel aside, so
// that the map sees a move even when the mouse already stood there).
export async function worldAt(page: Page, at: { x: number; y: number }): Promise<{ x: number; z: number }> {
  await page.mouse.move(at.x + 1, at.y);
  await page.mouse.move(at.x, at.y);
  const shown = /^x (-?\d+), z (-?\d+)$/.exec((await page.locator('#cursor').textContent()) ?? '');
  assert.ok(shown, 'no cursor position shown');
  return { x: Number(shown[1]), z: Number(shown[2]) };
}

export async function stopMap(server: Server): Promise<void> {
  const ended = new Promise((resolve) => server.process.once('exit', resolve));
  server.process.kill('SIGTERM');
  await ended;
}

export async function launchChromium(): Promise<{ browser: BrowserContext; profile: string }> {
  const profile = mkdtempSync(join(tmpdir(), 'pathwright-chromium-'));
  const browser = await chromium.launchPersistentContext(profile, {
    executablePath: CHROMIUM, args: CHROMIUM_ARGS, viewport: VIEWPORT,
  });
  return { browser, profile };
}

// Opens the map and waits until the page has listed the package and drawn it.
export async function openMap(page: Page, server: Server, timeoutMs: number): Promise<void> {
  await page.goto(`${server.origin}/#token=${server.token}`);
  await page.waitForFunction(() => document.body.dataset.ready === 'true', undefined, { timeout: timeoutMs });
}

export type ToScreen = (p: { x: number; z: number }) => { x: number; y: number };

// The map's world-to-screen mapping now, read off the cursor box at two screen points far apart.
export async function calibrate(page: Page): Promise<ToScreen> {
  const box = await page.locator('#map').boundingBox();
  assert.ok(box, 'the map is not on screen');
  const a = { x: box.x + box.width * 0.2, y: box.y + box.height * 0.2 };
  const b = { x: box.x + box.width * 0.8, y: box.y + box.height * 0.8 };
  const wa = await worldAt(page, a), wb = await worldAt(page, b);
  const sx = (b.x - a.x) / (wb.x - wa.x), sy = (b.y - a.y) / (wb.z - wa.z);
  return (p) => ({ x: a.x + (p.x - wa.x) * sx, y: a.y + (p.z - wa.z) * sy });
}

// The actors shown well inside the map's box, each at least `gap` pixels from every other actor.
export async function isolatedActors(page: Page, actors: Generated[], toScreen: ToScreen, gap: number): Promise<Generated[]> {
  const box = (await page.locator('#map').boundingBox())!;
  const margin = 60; // px: clear of the zoom buttons and the cursor box
  const cells = new Map<string, { a: Generated; s: { x: number; y: number } }[]>(); // gap x gap screen cells
  const cell = (x: number, y: number) => `${Math.floor(x / gap)},${Math.floor(y / gap)}`;
  for (const a of actors) {
    const s = toScreen(a);
    const key = cell(s.x, s.y);
    cells.set(key, [...(cells.get(key) ?? []), { a, s }]);
  }
  const found: Generated[] = [];
  for (const a of actors) {
    const s = toScreen(a);
    if (s.x < box.x + margin || s.x > box.x + box.width - margin || s.y < box.y + margin || s.y > box.y + box.height - margin)
      continue;
    let alone = true;
    for (let dx = -1; dx <= 1; ++dx)
      for (let dy = -1; dy <= 1; ++dy)
        for (const o of cells.get(cell(s.x + dx * gap, s.y + dy * gap)) ?? [])
          alone &&= o.a === a || Math.hypot(o.s.x - s.x, o.s.y - s.y) >= gap;
    if (alone) found.push(a);
  }
  return found;
}

// What a browser test's steps share: the server, one page on it, calls to its /rpc and screenshots.
export interface Visit {
  server: Server;
  page: Page;
  rpc(method: string, params: Record<string, unknown>): Promise<any>;
  shot(name: string): Promise<void>; // a screenshot into the output folder, its path printed
  newPage(): Promise<Page>; // another page in the same browser
}

export interface SuiteOptions {
  args: string[]; // for `pathwright map`, after the port
  outDir?: string; // screenshots go there
  openTimeoutMs?: number; // the map opened and drawn (openMap) before the first step; without it the first step opens it
  consoleErrors?: boolean; // an error on the page's console counts as the page throwing (default: true)
}

export type Step = [name: string, run: (v: Visit) => Promise<void>];

// `pathwright map ARGS` and one page of Debian's chromium shared by `steps`, each a node:test case run in
// order: a failing step is reported and the later ones still run, on the page as the failure left it. A
// last case checks that the page threw nothing meanwhile. Run the file with node (the CTest tests do): its
// exit status fails when any case failed.
export function browserSuite(title: string, options: SuiteOptions, steps: Step[]): void {
  describe(title, () => {
    let visit: Visit;
    let browser: BrowserContext;
    let profile = '';
    const errors: string[] = [];
    before(async () => {
      const server = await startMap(binaryArgument(), options.args);
      ({ browser, profile } = await launchChromium());
      if (options.outDir) mkdirSync(options.outDir, { recursive: true });
      const page = await browser.newPage();
      page.on('pageerror', (e) => errors.push(e.message));
      if (options.consoleErrors ?? true)
        page.on('console', (m) => void (m.type() === 'error' && errors.push(`${m.text()} ${m.location().url}`)));
      visit = { server, page, rpc: (method, params) => rpc(server, method, params), newPage: () => browser.newPage(),
        shot: async (name) => {
          assert.ok(options.outDir, 'no output folder for screenshots');
          await page.screenshot({ path: join(options.outDir, name) });
          console.log(`screenshot: ${join(options.outDir, name)}`);
        } };
      if (options.openTimeoutMs !== undefined) await openMap(page, server, options.openTimeoutMs);
    });
    after(async () => {
      await browser?.close();
      if (visit) await stopMap(visit.server);
      if (profile) rmSync(profile, { recursive: true, force: true });
    });
    for (const [name, run] of steps) it(name, () => run(visit));
    it('the page threw nothing', () => assert.deepEqual(errors, []));
  });
}

// The pathwright binary: every browser test's first argument.
export function binaryArgument(): string {
  const binary = process.argv[2];
  if (!binary) throw new Error(`usage: ${process.argv[1]} PATHWRIGHT_BINARY [...]`);
  return binary;
}
