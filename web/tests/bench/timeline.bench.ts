// The map page playing the timeline of a generated package of 1,000 walkers beside the demo package, in
// Debian's headless chromium, each served by `pathwright map --store` without a game: the time from
// choosing "Timeline" to the prediction fetched and drawn, and the browser's own frame times
// (requestAnimationFrame deltas) while it plays at ×4, once in the first view (the whole crowd in view:
// dots on the canvas, the demo's DOM markers) and once zoomed in twice (the walkers near the middle as
// DOM markers with labels). Figures are ratios against
// the demo package measured in the same run. A benchmark, not a test: it prints and never fails on a figure.
// Usage: timeline.bench.ts PATHWRIGHT_BINARY [WALKERS]
import { cpSync, mkdtempSync, rmSync } from 'node:fs';
import { tmpdir } from 'node:os';
import { dirname, join } from 'node:path';
import type { Page } from 'playwright-core';
import { generateStore, launchChromium, openMap, startMap, stopMap } from '../support/harness.js';

const [binary, countText] = process.argv.slice(2);
if (!binary) throw new Error('usage: timeline.bench.ts PATHWRIGHT_BINARY [WALKERS]');
const WALKERS = Number(countText ?? 1000);
const SPREAD = 4000; // world units: the crowd fills the first view at the page's opening zoom
const OPEN_TIMEOUT_MS = 60000;
const PLAY_MS = 5000; // of the page's clock, per figure
const ZOOM_IN_STEPS = 2;
const ZOOM_SETTLE_MS = 600;

interface Figures { fetchMs: number; dots: number; markers: number; whole: number[]; near: number[] }

const median = (xs: number[]) => quantile(xs, 0.5);
function quantile(xs: number[], q: number): number {
  const s = [...xs].sort((a, b) => a - b);
  return s.length ? s[Math.min(s.length - 1, Math.floor(q * s.length))] : NaN;
}

// In-page script as text: tsx would wrap named functions in a helper that the page does not have.
const RECORD_FRAMES = `(() => {
  window.benchFrames = []; window.benchOn = true;
  let last = 0;
  function tick(now) { window.benchFrames.push(now - last); last = now; if (window.benchOn) requestAnimationFrame(tick); }
  requestAnimationFrame((now) => { last = now; requestAnimationFrame(tick); });
})()`;

// Frame deltas while the timeline plays for PLAY_MS, from the start.
async function play(page: Page): Promise<number[]> {
  await page.getByRole('slider', { name: 'Time' }).fill('0');
  await page.evaluate(RECORD_FRAMES);
  await page.getByRole('button', { name: 'Play' }).click();
  await page.waitForTimeout(PLAY_MS);
  await page.getByRole('button', { name: 'Pause' }).click();
  return page.evaluate('window.benchOn = false, window.benchFrames') as Promise<number[]>;
}

async function measure(page: Page): Promise<Figures> {
  const start = performance.now();
  await page.getByRole('radio', { name: 'Timeline' }).check();
  await page.waitForFunction(() => document.getElementById('timeline-bar')?.dataset.time !== undefined, undefined,
    { timeout: OPEN_TIMEOUT_MS });
  const fetchMs = performance.now() - start;
  await page.getByLabel('Playing speed').selectOption('4');
  const dots = Number(await page.locator('canvas.actor-canvas').getAttribute('data-drawn'));
  const whole = await play(page);
  await page.locator('#map').focus();
  for (let i = 0; i < ZOOM_IN_STEPS; ++i) (await page.keyboard.press('+'), await page.waitForTimeout(ZOOM_SETTLE_MS));
  const markers = await page.locator('[data-actor-id][data-x]').count();
  const near = await play(page);
  return { fetchMs, dots, markers, whole, near };
}

async function run(storeDir: string): Promise<Figures> {
  const server = await startMap(binary, ['--store', storeDir]);
  const { browser, profile } = await launchChromium();
  try {
    const page = await browser.newPage();
    await openMap(page, server, OPEN_TIMEOUT_MS);
    return await measure(page);
  } finally {
    await browser.close();
    await stopMap(server);
    rmSync(profile, { recursive: true, force: true });
  }
}

const demo = mkdtempSync(join(tmpdir(), 'pathwright-demo-'));
cpSync(join(dirname(binary), '..', 'share', 'pathwright', 'examples', 'windfall'), demo, { recursive: true });
const crowd = generateStore('crowd', WALKERS, SPREAD);
try {
  const base = await run(demo);
  const many = await run(crowd.dir);
  const rows: [string, number, number][] = [
    ['"Timeline" chosen to the prediction drawn (ms)', base.fetchMs, many.fetchMs],
    ['playing, first view: median frame (ms)', median(base.whole), median(many.whole)],
    ['playing, first view: 95th percentile frame (ms)', quantile(base.whole, 0.95), quantile(many.whole, 0.95)],
    ['playing, first view: longest frame (ms)', Math.max(...base.whole), Math.max(...many.whole)],
    ['playing, zoomed in: median frame (ms)', median(base.near), median(many.near)],
    ['playing, zoomed in: 95th percentile frame (ms)', quantile(base.near, 0.95), quantile(many.near, 0.95)],
    ['playing, zoomed in: longest frame (ms)', Math.max(...base.near), Math.max(...many.near)],
  ];
  console.log(`the map page playing the timeline at ×4: the demo package beside ${WALKERS} generated actors, headless chromium`);
  console.log(`${'figure'.padEnd(52)}${'demo'.padStart(10)}${String(WALKERS).padStart(10)}${'ratio'.padStart(8)}`);
  for (const [name, a, b] of rows)
    console.log(`${name.padEnd(52)}${a.toFixed(1).padStart(10)}${b.toFixed(1).padStart(10)}${(b / a).toFixed(2).padStart(8)}`);
  console.log(`dots on the canvas in the first view: ${base.dots} / ${many.dots}; ` +
    `DOM markers with timeline places zoomed in: ${base.markers} / ${many.markers}`);
  console.log(`frames measured: first view ${base.whole.length} / ${many.whole.length}, zoomed in ${base.near.length} / ${many.near.length}`);
} finally {
  rmSync(demo, { recursive: true, force: true });
  rmSync(crowd.dir, { recursive: true, force: true });
}
