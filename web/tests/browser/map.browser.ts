// What a modder does on the map, in Debian's chromium against `pathwright map --demo --manual-clock`:
// the ground and every actor appear, young_man_um2's check shows its problems where the check says, the
// profile is drawn, and walkers move when the game's clock advances.
// Usage: map.browser.ts PATHWRIGHT_BINARY OUTPUT_DIR (the screenshot goes there).
import assert from 'node:assert/strict';
import { browserSuite, centre, until, type Visit } from '../support/harness.js';

const outDir = process.argv[3];
if (!outDir) throw new Error('usage: map.browser.ts PATHWRIGHT_BINARY OUTPUT_DIR');
const DEMO_ACTORS = 32;
const PICTURE_TIMEOUT_MS = 20000;
const PIXEL_TOLERANCE = 3;

async function firstPicture({ page, server }: Visit): Promise<number> {
  const start = performance.now();
  await page.goto(`${server.origin}/#token=${server.token}`);
  await page.waitForFunction((n) => {
    const tiles = [...document.querySelectorAll<HTMLImageElement>('img.leaflet-tile')];
    const loaded = tiles.length > 0 && tiles.every((t) => t.complete && t.naturalWidth === 256);
    return loaded && document.querySelectorAll('[data-actor-id]').length >= n;
  }, DEMO_ACTORS, { timeout: PICTURE_TIMEOUT_MS });
  return performance.now() - start;
}

async function everyActorHasAMarker({ page, rpc }: Visit): Promise<void> {
  const expected = (await rpc('actors', { package: 'windfall' })).actors.map((a: { id: string }) => a.id).sort();
  const shown = await page.$$eval('.leaflet-marker-icon[data-actor-id]', (els) => els.map((e) => e.getAttribute('data-actor-id')));
  assert.deepEqual(shown.sort(), expected);
  assert.match(await page.locator('[data-actor-id="harbour_seated_ym1"]').getAttribute('title') ?? '', /seated/);
  assert.equal(await page.locator('#ground-note').isHidden(), true, 'the ground is known with a game');
  // x grows to the right and z downwards: the extreme actors lie on the matching sides of the screen.
  const placed = (await rpc('document', { package: 'windfall' })).document.actors;
  const extreme = (key: 'x' | 'z', sign: number) =>
    placed.reduce((a: any, b: any) => (sign * (b.position[key] - a.position[key]) > 0 ? b : a)).id;
  const on = (id: string) => centre(page, `[data-actor-id="${id}"]`);
  assert.ok((await on(extreme('x', -1))).x < (await on(extreme('x', 1))).x, 'x does not grow to the right');
  assert.ok((await on(extreme('z', -1))).y < (await on(extreme('z', 1))).y, 'z does not grow downwards');
}

// Each problem marker sits where the check's "at" lies on the screen, measured from the route's points.
async function checkShowsProblems({ page, rpc }: Visit): Promise<void> {
  await page.getByRole('button', { name: 'Select young_man_um2' }).click();
  await page.locator('[data-point="4"]').waitFor();
  assert.equal(await page.locator('[data-point]').count(), 5);
  await page.getByRole('button', { name: 'Check route' }).click();
  await page.locator('.problem').nth(2).waitFor();
  const check = (await rpc('check_route', { package: 'windfall', id: 'young_man_um2' })).segments;
  const doc = (await rpc('document', { package: 'windfall' })).document.actors.find((a: any) => a.id === 'young_man_um2');
  const world = [doc.position, ...doc.path.points];
  const bad = check.filter((s: any) => !s.ok);
  assert.equal(await page.locator('.problem').count(), bad.length);
  for (const s of bad) {
    const a = world[s.from], b = world[s.to];
    const f = Math.hypot(s.at.x - a.x, s.at.z - a.z) / Math.hypot(b.x - a.x, b.z - a.z);
    const pa = await centre(page, `[data-point="${s.from}"]`), pb = await centre(page, `[data-point="${s.to}"]`);
    const shown = await centre(page, `.problem[data-problem="${s.problem}"]`);
    assert.ok(Math.abs(shown.x - (pa.x + (pb.x - pa.x) * f)) <= PIXEL_TOLERANCE, `${s.problem}: x`);
    assert.ok(Math.abs(shown.y - (pa.y + (pb.y - pa.y) * f)) <= PIXEL_TOLERANCE, `${s.problem}: y`);
    await page.getByText(s.problem, { exact: false }).first().waitFor();
  }
}

async function profileIsDrawn({ page }: Visit): Promise<void> {
  await page.locator('#profile[data-state="drawn"] canvas').waitFor();
  const inked = await page.$eval('#profile canvas', (c: HTMLCanvasElement) => {
    const data = c.getContext('2d')!.getImageData(0, 0, c.width, c.height).data;
    let n = 0;
    for (let i = 3; i < data.length; i += 4) if (data[i] > 0) ++n;
    return n;
  });
  assert.ok(inked > 1000, `the profile chart is almost blank (${inked} pixels drawn)`);
}

// Measured against a marker that never walks, so panning the map cannot pass for walking.
async function walkerMoves({ page, rpc }: Visit): Promise<void> {
  const offset = async () => {
    const w = await centre(page, '[data-actor-id="baker_ub3"]'), s = await centre(page, '[data-actor-id="notice_sign"]');
    return { x: w.x - s.x, y: w.y - s.y };
  };
  const before = await offset();
  await rpc('advance_game', { seconds: 5 });
  await until(offset, (o) => Math.hypot(o.x - before.x, o.y - before.y) >= 1, 'baker_ub3 did not move on the map');
}

browserSuite('the map', { args: ['--demo', '--manual-clock'], outDir }, [
  ['the first picture shows the ground and every actor', async (v) => {
    const pictureMs = await firstPicture(v);
    console.log(`first full picture (tiles and ${DEMO_ACTORS} markers): ${pictureMs.toFixed(0)} ms`);
  }],
  ['every actor has a marker, x to the right and z downwards', everyActorHasAMarker],
  ['the check shows its problems where it says', checkShowsProblems],
  ['the profile is drawn', async (v) => {
    await profileIsDrawn(v);
    await v.shot('map.png');
  }],
  ['a walker moves when the game\'s clock advances', walkerMoves],
]);
