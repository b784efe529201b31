// The map page with 50,000 actors beside the demo package, in Debian's headless chromium, each served by
// `pathwright map --store` without a game (a plain grid, no ground tiles, so both draw the same map): the
// time to list and draw the package, the browser's own frame times (requestAnimationFrame deltas) while
// dragging the map and while zooming with the keyboard, and the time from selecting an actor (from the
// list, and by clicking it on the map) to its route drawn. Figures are ratios against the demo package
// measured in the same run. A benchmark, not a test: it prints and never fails on a figure.
// Usage: scale.bench.ts PATHWRIGHT_BINARY [ACTORS]
import { calibrate, isolatedActors, openMap, type Generated, type Page, type Server, type ToScreen } from '../../web/tests/support/harness.js';
import { frames, median, onStore, printTable, quantile, stores } from './pagebench.js';

const [binary, countText] = process.argv.slice(2);
if (!binary) throw new Error('usage: scale.bench.ts PATHWRIGHT_BINARY [ACTORS]');
const ACTORS = Number(countText ?? 50000);
const SPREAD = 8000; // world units: the island's size
const OPEN_TIMEOUT_MS = 120000;
const DRAGS = 4; // right, down, left, up: the view ends where it began
const DRAG_PX = 400;
const DRAG_STEPS = 60; // mouse moves per drag, one a frame
const FRAME_MS = 1000 / 60;
const ZOOM_STEPS = 3; // in, then out again, with the keyboard's + and -
const ZOOM_SETTLE_MS = 600; // Leaflet's zoom animation is 250 ms; the rest lets the redraw show
const SELECTIONS = 5;
const GAP_PX = 6; // an actor this far from every other on screen is the nearest to a click on it
const SETTLE_MS = 1000; // between selections: the last one's profile and settings requests are answered
const ROUTE_TIMEOUT_MS = 10000; // a selection that draws nothing in this time is a fault, not a figure

interface Figures { openMs: number; pan: number[]; zoom: number[]; listMs: number[]; clickMs: number[] }

// Every actor of the store's package with a position, a page at a time as the page lists them.
async function placed(server: Server): Promise<Generated[]> {
  const found: Generated[] = [];
  for (let start: number | null = 0; start !== null;) {
    const answer: Response = await fetch(`${server.origin}/rpc`, { method: 'POST', headers: { Authorization: `Bearer ${server.token}` },
      body: JSON.stringify({ jsonrpc: '2.0', id: 1, method: 'placed_actors', params: { start, limit: 10000, routes: false } }) });
    const page: { actors: any[]; next: number | null } = (await answer.json()).result;
    for (const a of page.actors)
      if (a.position) found.push({ id: a.id, walker: a.walker, x: a.position.x, z: a.position.z, points: a.points });
    start = page.next;
  }
  return found;
}

// In-page script as text: tsx would wrap named functions in a helper that the page does not have.
const ROUTE_DRAWN = (id: string) => `new Promise((resolve) => {
  function check() {
    const drawn = document.getElementById('details-title')?.textContent === ${JSON.stringify(id)} &&
      document.querySelector('[data-point]');
    if (drawn) requestAnimationFrame(() => resolve(performance.now() - window.benchClick));
    else if (performance.now() - window.benchClick > ${ROUTE_TIMEOUT_MS}) resolve(NaN);
    else requestAnimationFrame(check);
  }
  check();
})`;

async function drag(page: Page): Promise<void> {
  const box = (await page.locator('#map').boundingBox())!;
  const start = { x: box.x + box.width / 2, y: box.y + box.height / 2 };
  const moves = [[1, 0], [0, 1], [-1, 0], [0, -1]];
  for (let d = 0; d < DRAGS; ++d) {
    const [dx, dy] = moves[d % moves.length];
    await page.mouse.move(start.x, start.y);
    await page.mouse.down();
    for (let i = 1; i <= DRAG_STEPS; ++i) {
      await page.mouse.move(start.x + (dx * DRAG_PX * i) / DRAG_STEPS, start.y + (dy * DRAG_PX * i) / DRAG_STEPS);
      await page.waitForTimeout(FRAME_MS);
    }
    await page.mouse.up();
  }
}

async function zoom(page: Page): Promise<void> {
  await page.locator('#map').focus();
  for (const key of [...Array(ZOOM_STEPS).fill('+'), ...Array(ZOOM_STEPS).fill('-')]) {
    await page.keyboard.press(key);
    await page.waitForTimeout(ZOOM_SETTLE_MS);
  }
}

// Milliseconds from the click that `act` makes to the route of `id` in the page, one frame later.
async function timeToRoute(page: Page, id: string, act: () => Promise<void>): Promise<number> {
  await page.evaluate(`window.benchClick = 0;
    document.addEventListener('click', () => { window.benchClick = performance.now(); }, { capture: true, once: true });`);
  await act();
  const ms = (await page.evaluate(ROUTE_DRAWN(id))) as number;
  if (Number.isNaN(ms)) throw new Error(`selecting ${id} drew no route within ${ROUTE_TIMEOUT_MS} ms`);
  return ms;
}

// The first of `candidates` that a click reaches on the map itself, not under the timeline bar or a panel.
async function firstClickable(page: Page, candidates: Generated[], toScreen: ToScreen): Promise<Generated | undefined> {
  for (const a of candidates) {
    const s = toScreen(a);
    const onMap = await page.evaluate(`(() => { const e = document.elementFromPoint(${s.x}, ${s.y});
      return !!e && !!e.closest('#map') && !e.closest('#timeline-bar, #meetings-panel, .leaflet-control-container'); })()`);
    if (onMap) return a;
  }
  return undefined;
}

async function measure(page: Page, server: Server): Promise<Figures> {
  const start = performance.now();
  await openMap(page, server, OPEN_TIMEOUT_MS);
  const openMs = performance.now() - start;
  const actors = await placed(server);
  const walkers = actors.filter((a) => a.walker !== ('none' as string) && a.points > 0); // who has a route to draw
  const say = (text: string) => console.error(`${actors.length} actors: ${text}`);
  say(`open in ${openMs.toFixed(0)} ms; dragging`);
  const pan = await frames(page, () => drag(page));
  say('zooming');
  const zoomed = await frames(page, () => zoom(page));
  say('selecting by clicks on actors that stand alone');
  const clickMs: number[] = [];
  const chosen = new Set<string>();
  while (clickMs.length < SELECTIONS) {
    // Each reload opens the first view, not where the drags left the map: the screen is read again.
    const toScreen = await calibrate(page);
    const a = await firstClickable(page, (await isolatedActors(page, actors, toScreen, GAP_PX))
      .filter((a) => walkers.includes(a) && !chosen.has(a.id)), toScreen);
    if (!a) break;
    chosen.add(a.id);
    clickMs.push(await timeToRoute(page, a.id, async () => {
      const s = toScreen(a);
      await page.mouse.click(s.x, s.y);
    }));
    await page.keyboard.press('-'); // back out of the selected route's zoom, roughly where it was
    await page.reload();
    await openMap(page, server, OPEN_TIMEOUT_MS);
  }
  say('selecting from the list');
  const listMs: number[] = [];
  for (const a of walkers.slice(-SELECTIONS)) {
    await page.getByLabel('Search actors').fill(a.id);
    await page.waitForTimeout(SETTLE_MS);
    listMs.push(await timeToRoute(page, a.id, () => page.getByRole('button', { name: `Select ${a.id}`, exact: true }).click()));
  }
  return { openMs, pan, zoom: zoomed, listMs, clickMs };
}

const packages = stores(binary, ACTORS, SPREAD);
try {
  const base = await onStore(binary, packages.demo, [], null, measure);
  const many = await onStore(binary, packages.crowd, [], null, measure);
  console.log(`the map page: the demo package (30 actors) beside ${ACTORS} generated actors, headless chromium`);
  printTable(['demo', String(ACTORS)], [
    ['open: listed and drawn (ms)', base.openMs, many.openMs],
    ['pan: median frame (ms)', median(base.pan), median(many.pan)],
    ['pan: 95th percentile frame (ms)', quantile(base.pan, 0.95), quantile(many.pan, 0.95)],
    ['pan: longest frame (ms)', Math.max(...base.pan), Math.max(...many.pan)],
    ['zoom: median frame (ms)', median(base.zoom), median(many.zoom)],
    ['zoom: 95th percentile frame (ms)', quantile(base.zoom, 0.95), quantile(many.zoom, 0.95)],
    ['zoom: longest frame (ms)', Math.max(...base.zoom), Math.max(...many.zoom)],
    ['select from the list to route drawn, median (ms)', median(base.listMs), median(many.listMs)],
    ['select by a click on the map to route drawn, median (ms)', median(base.clickMs), median(many.clickMs)],
  ]);
  console.log(`frames measured: pan ${base.pan.length} / ${many.pan.length}, zoom ${base.zoom.length} / ${many.zoom.length}`);
} finally {
  packages.remove();
}
