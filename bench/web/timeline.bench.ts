// The map page playing the timeline of a generated package of 1,000 walkers beside the demo package, in
// Debian's headless chromium, each served by `pathwright map --store` without a game: the time from
// choosing "Timeline" to the prediction fetched and drawn, and the browser's own frame times
// (requestAnimationFrame deltas) while it plays at ×4, once in the first view (the whole crowd in view:
// dots on the canvas, the demo's DOM markers) and once zoomed in twice (the walkers near the middle as
// DOM markers with labels). Figures are ratios against the demo package measured in the same run, and with
// BEFORE_PAGE (a folder holding another build of the page, such as the last commit's) ratios of this page
// to that one, each measured in the same run. A benchmark, not a test: it prints and never fails on a figure.
// Usage: timeline.bench.ts PATHWRIGHT_BINARY [WALKERS] [BEFORE_PAGE]
import type { CDPSession, Page } from '../../web/tests/support/harness.js';
import { frames, median, onStore, printTable, quantile, stores } from './pagebench.js';

const [binary, countText, beforePage] = process.argv.slice(2);
if (!binary) throw new Error('usage: timeline.bench.ts PATHWRIGHT_BINARY [WALKERS] [BEFORE_PAGE]');
const WALKERS = Number(countText ?? 1000);
const SPREAD = 4000; // world units: the crowd fills the first view at the page's opening zoom
const OPEN_TIMEOUT_MS = 60000;
const PLAY_MS = 5000; // of the page's clock, per figure
const ZOOM_IN_STEPS = 2;
const ZOOM_SETTLE_MS = 600;
const ROUNDS = 2; // each page on each package, taking turns

interface Figures { fetchMs: number; dots: number; markers: number; whole: number[]; near: number[]; wholeBusy: number; nearBusy: number }

// The renderer's main thread busy (ms) so far, by the browser's own count.
async function busyMs(cdp: CDPSession): Promise<number> {
  const { metrics } = await cdp.send('Performance.getMetrics');
  return 1000 * (metrics.find((m) => m.name === 'TaskDuration')?.value ?? NaN);
}

// Frame deltas while the timeline plays for PLAY_MS, from the start, and the main thread's busy time per frame.
async function play(page: Page, cdp: CDPSession): Promise<{ frames: number[]; busy: number }> {
  await page.getByRole('slider', { name: 'Time' }).fill('0');
  const before = await busyMs(cdp);
  const played = await frames(page, async () => {
    await page.getByRole('button', { name: 'Play' }).click();
    await page.waitForTimeout(PLAY_MS);
    await page.getByRole('button', { name: 'Pause' }).click();
  });
  return { frames: played, busy: ((await busyMs(cdp)) - before) / played.length };
}

async function measure(page: Page): Promise<Figures> {
  const cdp = await page.context().newCDPSession(page);
  await cdp.send('Performance.enable');
  const start = performance.now();
  await page.getByRole('radio', { name: 'Timeline' }).check();
  await page.waitForFunction(() => document.getElementById('timeline-bar')?.dataset.time !== undefined, undefined,
    { timeout: OPEN_TIMEOUT_MS });
  const fetchMs = performance.now() - start;
  await page.getByLabel('Playing speed').selectOption('4');
  const dots = Number(await page.locator('canvas.actor-canvas').getAttribute('data-drawn'));
  const whole = await play(page, cdp);
  await page.locator('#map').focus();
  for (let i = 0; i < ZOOM_IN_STEPS; ++i) (await page.keyboard.press('+'), await page.waitForTimeout(ZOOM_SETTLE_MS));
  const markers = await page.locator('[data-actor-id][data-x]').count();
  const near = await play(page, cdp);
  return { fetchMs, dots, markers, whole: whole.frames, near: near.frames, wholeBusy: whole.busy, nearBusy: near.busy };
}

const packages = stores(binary, WALKERS, SPREAD);

// Every round measures each page on each package, so the machine's load falls on all alike.
async function measureAll(pages: string[]): Promise<Figures[][]> {
  const all = pages.map(() => [[], []] as Figures[][]);
  for (let round = 0; round < ROUNDS; ++round)
    for (let p = 0; p < pages.length; ++p)
      for (const [k, dir] of [packages.demo, packages.crowd].entries())
        all[p][k].push(await onStore(binary, dir, pages[p] ? ['--web', pages[p]] : [], OPEN_TIMEOUT_MS, measure));
  return all.map((byPackage) => byPackage.map(merge));
}

function merge(runs: Figures[]): Figures {
  const mean = (xs: number[]) => xs.reduce((a, b) => a + b, 0) / xs.length;
  return { fetchMs: median(runs.map((r) => r.fetchMs)), dots: runs[0].dots, markers: runs[0].markers,
    whole: runs.flatMap((r) => r.whole), near: runs.flatMap((r) => r.near),
    wholeBusy: mean(runs.map((r) => r.wholeBusy)), nearBusy: mean(runs.map((r) => r.nearBusy)) };
}

const rows = (f: Figures): [string, number][] => [
  ['"Timeline" chosen to the prediction drawn (ms)', f.fetchMs],
  ['playing, first view: median frame (ms)', median(f.whole)],
  ['playing, first view: 95th percentile frame (ms)', quantile(f.whole, 0.95)],
  ['playing, first view: main thread busy per frame (ms)', f.wholeBusy],
  ['playing, zoomed in: median frame (ms)', median(f.near)],
  ['playing, zoomed in: 95th percentile frame (ms)', quantile(f.near, 0.95)],
  ['playing, zoomed in: main thread busy per frame (ms)', f.nearBusy],
];
try {
  const [[base, many], before] = await measureAll(beforePage ? ['', beforePage] : ['']);
  console.log(`the map page playing the timeline at ×4: the demo package beside ${WALKERS} generated actors, headless ` +
    `chromium, ${ROUNDS} rounds of ${PLAY_MS / 1000} s per figure`);
  const [a, b] = [rows(base), rows(many)];
  printTable(['demo', String(WALKERS)], a.map(([name, x], r) => [name, x, b[r][1]]));
  if (before) {
    const [c, d] = [rows(before[0]), rows(before[1])];
    console.log(`\nthe page in ${beforePage} (before) and this page (after), each on the same packages in the same run`);
    printTable(['before', 'after'], [
      ...c.map(([name, x], r): [string, number, number] => [`demo, ${name}`, x, a[r][1]]),
      ...d.map(([name, x], r): [string, number, number] => [`${WALKERS}, ${name}`, x, b[r][1]]),
    ]);
  }
  console.log(`dots on the canvas in the first view: ${base.dots} / ${many.dots}; ` +
    `DOM markers with timeline places zoomed in, paused: ${base.markers} / ${many.markers}`);
  console.log(`frames measured: first view ${base.whole.length} / ${many.whole.length}, zoomed in ${base.near.length} / ${many.near.length}`);
} finally {
  packages.remove();
}
