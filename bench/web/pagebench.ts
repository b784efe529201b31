// What the page's benchmarks share: the demo package and a generated one in temporary stores, each opened
// by `pathwright map --store` in Debian's headless chromium, the browser's own frame times
// (requestAnimationFrame deltas) while something happens, quantiles, and the table of figures with their
// ratios. Benchmark use only; single-threaded.
import { cpSync, mkdtempSync, rmSync } from 'node:fs';
import { tmpdir } from 'node:os';
import { dirname, join } from 'node:path';
import { generateStore, launchChromium, openMap, startMap, stopMap, type Generated, type Page, type Server }
  from '../../web/tests/support/harness.js';

export const median = (xs: number[]) => quantile(xs, 0.5);
export function quantile(xs: number[], q: number): number {
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

// The frame deltas while `act` runs.
export async function frames(page: Page, act: () => Promise<void>): Promise<number[]> {
  await page.evaluate(RECORD_FRAMES);
  await act();
  return page.evaluate('window.benchOn = false, window.benchFrames') as Promise<number[]>;
}

// The demo package (copied from beside `binary`) and a generated one of `count` actors over `spread`
// units, each in a store folder of its own, removed by `remove`.
export function stores(binary: string, count: number, spread: number): { demo: string; crowd: string; actors: Generated[];
  remove(): void } {
  const demo = mkdtempSync(join(tmpdir(), 'pathwright-demo-'));
  cpSync(join(dirname(binary), '..', 'share', 'pathwright', 'examples', 'windfall'), demo, { recursive: true });
  const crowd = generateStore('crowd', count, spread);
  return { demo, crowd: crowd.dir, actors: crowd.actors, remove: () => {
    rmSync(demo, { recursive: true, force: true });
    rmSync(crowd.dir, { recursive: true, force: true });
  } };
}

// `measure` on a fresh page of `pathwright map --store STORE ...args`; `open`: the page opened first.
export async function onStore<T>(binary: string, store: string, args: string[], openTimeoutMs: number | null,
  measure: (page: Page, server: Server) => Promise<T>): Promise<T> {
  const server = await startMap(binary, ['--store', store, ...args]);
  const { browser, profile } = await launchChromium();
  try {
    const page = await browser.newPage();
    if (openTimeoutMs !== null) await openMap(page, server, openTimeoutMs);
    return await measure(page, server);
  } finally {
    await browser.close();
    await stopMap(server);
    rmSync(profile, { recursive: true, force: true });
  }
}

// Figures side by side with the ratio of the second to the first.
export function printTable(columns: [string, string], rows: [string, number, number][]): void {
  const width = Math.max(...rows.map(([name]) => name.length)) + 2;
  const cell = (n: number) => n.toFixed(Math.abs(n) < 10 ? 2 : 1).padStart(10);
  console.log(`${'figure'.padEnd(width)}${columns[0].padStart(10)}${columns[1].padStart(10)}${'ratio'.padStart(8)}`);
  for (const [name, a, b] of rows) console.log(`${name.padEnd(width)}${cell(a)}${cell(b)}${(b / a).toFixed(2).padStart(8)}`);
}
