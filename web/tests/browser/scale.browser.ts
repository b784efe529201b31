// A generated package of 3,000 actors in Debian's chromium against `pathwright map --store`: the actors
// are dots on the canvas where they stand, with their walker's colour; the list is capped and searchable;
// and selecting an actor by clicking its dot or from the list draws its route. Then, with the game: a dot
// on the canvas follows its walker as the game's clock moves on. Correctness, not timing.
// Usage: scale.browser.ts PATHWRIGHT_BINARY
import { mkdtempSync, rmSync, writeFileSync } from 'node:fs';
import { tmpdir } from 'node:os';
import { join } from 'node:path';
import assert from 'node:assert/strict';
import { after } from 'node:test';
import type { Page } from 'playwright-core';
import { binaryArgument, browserSuite, calibrate, generateStore, isolatedActors, openMap, rpc, startMap, stopMap, until,
  type Generated, type ToScreen, type Visit } from '../support/harness.js';

const ACTORS = 3000;
const SPREAD = 8000; // world units: hundreds of actors in the first view, more than get DOM markers, yet apart
const LIST_MAX = 200; // the page's cap on the list's buttons
const DOM_MARKERS_MAX = 300; // the page's most DOM markers in view
const OPEN_TIMEOUT_MS = 60000;
const GAP_PX = 24; // an actor this far from every other on screen is clicked without doubt
const CHECKED_DOTS = 20;
const CHESTS = 400; // actors that never walk, so that the canvas draws the one walker among them
const WALK_SECONDS = 10; // a resident walks about 36 units a second: many pixels at any zoom of the island
const LIVE_TIMEOUT_MS = 5000;
const COLOURS = { resident: [0x2f, 0x6f, 0xdf], patroller: [0xc9, 0x46, 0x2c], model: [0x8e, 0x44, 0xad] };

const { dir, actors } = generateStore('crowd', ACTORS, SPREAD);
after(() => rmSync(dir, { recursive: true, force: true }));

// Route points drawn for an actor: residents and patrollers start from their own position (point 0).
const routePoints = (a: Generated) => a.points + (a.walker === 'model' ? 0 : 1);

// The canvas's pixel at a screen point, as [red, green, blue, alpha].
async function pixel(page: Page, at: { x: number; y: number }): Promise<number[]> {
  return page.$eval('canvas.actor-canvas', (c: HTMLCanvasElement, p) => {
    const r = c.getBoundingClientRect();
    return [...c.getContext('2d')!.getImageData(Math.round(p.x - r.left), Math.round(p.y - r.top), 1, 1).data];
  }, at);
}

async function dotsAreDrawnWhereActorsStand(page: Page, toScreen: ToScreen, alone: Generated[]): Promise<void> {
  const drawn = Number(await page.locator('canvas.actor-canvas').getAttribute('data-drawn'));
  const box = (await page.locator('#map').boundingBox())!;
  const onScreen = actors.map(toScreen).filter((s) => s.x >= box.x && s.x <= box.x + box.width &&
    s.y >= box.y && s.y <= box.y + box.height).length;
  assert.ok(onScreen > DOM_MARKERS_MAX, `only ${onScreen} actors in the first view`);
  assert.ok(drawn >= onScreen, `${drawn} dots drawn for ${onScreen} actors on screen`);
  assert.equal(await page.locator('[data-actor-id]').count(), 0, 'DOM markers with this many actors in view');
  for (const a of alone.slice(0, CHECKED_DOTS)) {
    const s = toScreen(a);
    assert.deepEqual((await pixel(page, s)).slice(0, 3), COLOURS[a.walker], `the dot of ${a.id} at ${s.x}, ${s.y}`);
  }
}

async function routeIsDrawnFor(page: Page, a: Generated): Promise<void> {
  await page.waitForFunction((id) => document.getElementById('details-title')?.textContent === id, a.id);
  await page.locator(`[data-point="${routePoints(a) - (a.walker === 'model' ? 0 : 1)}"]`).waitFor();
  assert.equal(await page.locator('[data-point]').count(), routePoints(a), `route points of ${a.id}`);
}

async function clickingADotSelectsIt(page: Page, toScreen: ToScreen, a: Generated): Promise<void> {
  const s = toScreen(a);
  await page.mouse.move(s.x, s.y);
  assert.equal(await page.locator('#map').getAttribute('title'), `${a.id} (${a.walker})`, 'hover text');
  await page.mouse.click(s.x, s.y);
  await routeIsDrawnFor(page, a);
}

async function theListIsCappedAndSearchable(page: Page): Promise<void> {
  assert.equal(await page.locator('#actor-list button').count(), LIST_MAX);
  assert.equal(await page.locator('#actor-list li.more').textContent(), `${ACTORS - LIST_MAX} more: narrow the search`);
  const last = actors[actors.length - 1]; // the highest number: no other id starts with it
  await page.getByLabel('Search actors').fill(last.id);
  assert.equal(await page.locator('#actor-list button').count(), 1);
  await page.getByRole('button', { name: `Select ${last.id}` }).click();
  await routeIsDrawnFor(page, last);
}

// One resident walking across the town among chests, in the in-process game on a held clock: its dot
// leaves its place and shows where the game says it is.
async function aDotFollowsItsWalker(v: Visit): Promise<void> {
  const store = mkdtempSync(join(tmpdir(), 'pathwright-walk-'));
  const chests = Array.from({ length: CHESTS }, (_, i) => ({ id: `chest_${i}`, actor: 'treasure_chest',
    position: { x: -1800 + (i % 20) * 40, y: 100, z: -1800 + Math.floor(i / 20) * 40 } }));
  const walker = { id: 'walker', actor: 'resident', parameters: { resident: 'ub3' }, position: { x: 300, y: 100, z: 300 },
    path: { mode: 'once', points: [{ x: 300, y: 100, z: -200 }] } };
  writeFileSync(join(store, 'town.json'), JSON.stringify({ name: 'town', actors: [...chests, walker] }));
  const server = await startMap(binaryArgument(), ['--store', store, '--demo', '--manual-clock']);
  try {
    const page = await v.newPage();
    await openMap(page, server, OPEN_TIMEOUT_MS);
    // Ground tiles come with the game's first event, which also frames the island: the view is final.
    await page.waitForFunction((n) => document.querySelector('img.leaflet-tile') !== null &&
      document.querySelector('canvas.actor-canvas')?.getAttribute('data-drawn') === String(n), CHESTS + 1);
    const toScreen = await calibrate(page);
    const start = toScreen(walker.position);
    const resident = (rgb: number[]) => String(rgb.slice(0, 3)) === String(COLOURS.resident);
    // On a busy machine the dots of the framed view may be painted a little after the count is set.
    await until(() => pixel(page, start), resident, 'the walker\'s dot before it walks', LIVE_TIMEOUT_MS);
    await rpc(server, 'advance_game', { seconds: WALK_SECONDS });
    const now = toScreen((await rpc(server, 'route_status', { id: 'walker' })).position);
    assert.ok(Math.hypot(now.x - start.x, now.y - start.y) > 20, 'the walker hardly moved on the screen');
    await until(() => pixel(page, now), resident, 'no dot where the game says the walker is', LIVE_TIMEOUT_MS);
    assert.equal((await pixel(page, start))[3], 0, 'the dot is still where the walker started');
  } finally {
    await stopMap(server);
    rmSync(store, { recursive: true, force: true });
  }
}

let toScreen: ToScreen;
let alone: Generated[] = [];

browserSuite('a package of 3,000 actors', { args: ['--store', dir], openTimeoutMs: OPEN_TIMEOUT_MS }, [
  ['dots are drawn where the actors stand, in their walker\'s colour', async ({ page }) => {
    toScreen = await calibrate(page);
    alone = await isolatedActors(page, actors, toScreen, GAP_PX);
    assert.ok(alone.length >= CHECKED_DOTS, `only ${alone.length} actors stand alone on screen`);
    await dotsAreDrawnWhereActorsStand(page, toScreen, alone);
  }],
  ['clicking a dot selects its actor', ({ page }) => clickingADotSelectsIt(page, toScreen, alone[0])],
  ['the list is capped and searchable', ({ page }) => theListIsCappedAndSearchable(page)],
  ['a dot follows its walker as the game\'s clock moves on', aDotFollowsItsWalker],
]);
