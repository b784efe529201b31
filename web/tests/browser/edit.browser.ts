// Editing routes on the map, in Debian's chromium against `pathwright map --demo --manual-clock`: add by
// clicking in adding mode, drag a point, drag a segment's middle to insert, remove with Delete, reorder in
// the list, change the mode, undo it all with Ctrl+Z until the package file is the demo's byte for byte,
// redo one step; a refused edit shows the server's text and changes nothing; a second page sees the
// changes of the first. Every result is read back through /rpc. Screenshots for docs/map.md go to OUTPUT_DIR.
// Usage: edit.browser.ts PATHWRIGHT_BINARY OUTPUT_DIR
import { readFileSync } from 'node:fs';
import { join } from 'node:path';
import assert from 'node:assert/strict';
import { type Page } from 'playwright-core';
import { browserSuite, centre, openMap, rpc as call, rpcReply, until, worldAt, type Visit } from '../support/harness.js';

const outDir = process.argv[3];
if (!outDir) throw new Error('usage: edit.browser.ts PATHWRIGHT_BINARY OUTPUT_DIR');
const READY_TIMEOUT_MS = 20000;
// A change made elsewhere shows within a second (the times are printed); the bound leaves room for a
// machine busy with other builds, so that the test catches changes that never arrive, not slow ones.
const CHANGE_TIMEOUT_MS = 5000;
const SAVE_TIMEOUT_MS = 10000; // the store folds its journal into the package file on its own
const PLACE_TOLERANCE = 12; // world units between where the mouse let go and the stored point
const HEIGHT_TOLERANCE = 0.1; // stored points carry one decimal
const LIST_QUIET_MS = 300; // the point list unchanged this long: the page is done with the last answer

let visit: Visit; // the suite's server and page, from its first step on
const rpc = (method: string, params: Record<string, unknown>) => call(visit.server, method, params);
const reply = (method: string, params: Record<string, unknown>) => rpcReply(visit.server, method, params);
const route = async (id: string) =>
  (await rpc('document', { package: 'windfall' })).document.actors.find((a: any) => a.id === id).path;
const points = async (id: string) => (await route(id))?.points ?? [];
const ground = async (x: number, z: number) => (await rpc('ground_point', { position: { x, y: 2000, z } })).position.y;

// gate_guard's points as the store holds them, once the page's point list shows them as points 1..n and
// has stayed unchanged for a moment: the page has drawn the server's route and finished its own follow-up
// (the selection after an edit), so the next action meets what the server holds rather than rows or
// markers about to be replaced.
async function settled(page: Page): Promise<Array<{ x: number; y: number; z: number }>> {
  const pts: Array<{ x: number; y: number; z: number }> = await points('gate_guard');
  const rows = pts.map((p, i) => `${i + 1}: x ${p.x.toFixed(1)}, y ${p.y.toFixed(1)}, z ${p.z.toFixed(1)}`);
  await page.waitForFunction(({ want, quietMs }) => {
    const w = window as unknown as { listChanged?: number };
    if (w.listChanged === undefined) {
      w.listChanged = performance.now();
      new MutationObserver(() => (w.listChanged = performance.now())).observe(document.getElementById('point-list')!,
        { subtree: true, childList: true, attributes: true, characterData: true });
    }
    const got = [...document.querySelectorAll('#point-list li[data-list-point]')]
      .filter((li) => (li as HTMLElement).dataset.listPoint !== '0')
      .map((li) => li.textContent ?? '');
    const same = got.length === want.length && got.every((text, i) => text.startsWith(want[i]));
    return same && performance.now() - w.listChanged >= quietMs;
  }, { want: rows, quietMs: LIST_QUIET_MS });
  return pts;
}

async function drag(page: Page, selector: string, by: { x: number; y: number }): Promise<{ x: number; y: number }> {
  const from = await centre(page, selector);
  await page.mouse.move(from.x, from.y);
  await page.mouse.down();
  for (let k = 1; k <= 5; ++k) await page.mouse.move(from.x + (by.x * k) / 5, from.y + (by.y * k) / 5);
  await page.mouse.up();
  return { x: from.x + by.x, y: from.y + by.y };
}

const near = (p: { x: number; z: number }, q: { x: number; z: number }) =>
  Math.hypot(p.x - q.x, p.z - q.z) <= PLACE_TOLERANCE;

// Ready, and the game's event has come (its ground tiles show): snapping looks down from the world's top.
async function open(page: Page): Promise<Page> {
  await openMap(page, visit.server, READY_TIMEOUT_MS);
  await page.locator('img.leaflet-tile').first().waitFor({ timeout: READY_TIMEOUT_MS });
  return page;
}

async function selectGateGuard(page: Page): Promise<void> {
  await page.getByRole('button', { name: 'Select gate_guard' }).click();
  await page.locator('[data-point="2"]').waitFor();
  await page.locator('#settings select[name="mode"]:not([disabled])').waitFor();
}

async function addByClicking(page: Page): Promise<void> {
  const before = await points('gate_guard');
  await page.getByRole('button', { name: 'Add points' }).click();
  const p2 = await centre(page, '[data-point="2"]');
  const spot = { x: p2.x + 70, y: p2.y - 50 }; // up the screen: inland from the town's south shore
  const where = await worldAt(page, spot);
  await page.mouse.click(spot.x, spot.y);
  const after = await until(() => points('gate_guard'), (p) => p.length === before.length + 1, 'added point');
  const added = after[after.length - 1];
  assert.ok(near(added, where), `the point went to ${JSON.stringify(added)}, the click was at ${JSON.stringify(where)}`);
  assert.ok(Math.abs(added.y - (await ground(added.x, added.z))) <= HEIGHT_TOLERANCE, `the point is not on the ground: ${JSON.stringify(added)} vs ${await ground(added.x, added.z)}`);
  await page.locator('[data-point="3"]').waitFor();
  await visit.shot('edit-add.png');
  await page.keyboard.press('a'); // adding mode off again
  assert.equal(await page.getByRole('button', { name: 'Add points' }).getAttribute('aria-pressed'), 'false');
}

async function movePoint(page: Page): Promise<void> {
  const before = await points('gate_guard');
  const drop = await drag(page, '[data-point="1"]', { x: -60, y: -45 });
  const moved = await until(() => points('gate_guard'), (p) => p[0].x !== before[0].x, 'moved point 1');
  const where = await worldAt(page, drop);
  assert.ok(near(moved[0], where), `point 1 went to ${JSON.stringify(moved[0])}, the drop was at ${JSON.stringify(where)}`);
  assert.ok(Math.abs(moved[0].y - (await ground(moved[0].x, moved[0].z))) <= HEIGHT_TOLERANCE, 'the moved point is not on the ground');
  assert.deepEqual(moved.slice(1), before.slice(1), 'other points moved too');
}

async function insertByDraggingTheMiddle(page: Page): Promise<void> {
  const before = await settled(page);
  await page.locator('[data-insert-after="1"]').waitFor();
  const drop = await drag(page, '[data-insert-after="1"]', { x: 30, y: -40 });
  const after = await until(() => points('gate_guard'), (p) => p.length === before.length + 1, 'inserted point');
  assert.deepEqual(after[0], before[0]);
  assert.deepEqual(after.slice(2), before.slice(1), 'the point was not inserted after point 1');
  assert.ok(near(after[1], await worldAt(page, drop)), 'the inserted point is not where the drop was');
}

async function removeWithDelete(page: Page): Promise<void> {
  const before = await settled(page);
  await page.locator('[data-point="2"]').click();
  await page.keyboard.press('Delete');
  const after = await until(() => points('gate_guard'), (p) => p.length === before.length - 1, 'removed point 2');
  assert.deepEqual(after, [before[0], ...before.slice(2)]);
}

async function reorderInTheList(page: Page): Promise<void> {
  const before = await settled(page);
  await page.locator('[data-list-point="1"]').dragTo(page.locator('[data-list-point="3"]'));
  const after = await until(() => points('gate_guard'), (p) => p[2]?.x === before[0].x, 'reordered point 1 to 3');
  assert.deepEqual(after, [before[1], before[2], before[0]]);
  // Without the mouse: the moved point is selected; [ selects point 2, Alt+Down moves it one place later.
  // The moved point's row has the keyboard focus once the page has taken the server's answer.
  await page.locator('#point-list li.selected[data-list-point="3"] button:focus').waitFor();
  await page.keyboard.press('[');
  await page.locator('#point-list li.selected[data-list-point="2"]').waitFor();
  await page.keyboard.press('Alt+ArrowDown');
  await until(() => points('gate_guard'), (p) => p[1]?.x === before[0].x, 'point 2 moved later by keyboard');
  assert.deepEqual(await points('gate_guard'), [before[1], before[0], before[2]]);
}

// The chart's cursor marks its place on the route, and a mouse on the route moves the chart's cursor.
async function profileAndMapFollowEachOther(page: Page): Promise<void> {
  const over = page.locator('#profile[data-state="drawn"] .u-over');
  await over.hover({ position: { x: 40, y: 20 } });
  await page.locator('.profile-cursor').waitFor();
  const cursorX = () => page.$eval('#profile .u-cursor-x', (e) => (e as HTMLElement).style.transform);
  const a = await centre(page, '[data-point="1"]'), b = await centre(page, '[data-point="2"]');
  const before = await cursorX();
  await page.mouse.move((3 * a.x + b.x) / 4, (3 * a.y + b.y) / 4);
  await until(cursorX, (x) => x !== before, 'the chart cursor did not follow the mouse on the route', 2000);
  await page.locator('#profile').scrollIntoViewIfNeeded();
  await visit.shot('edit-profile.png');
}

async function undoAllThenRedo(page: Page, demo: Buffer, file: string): Promise<void> {
  const labels = (await rpc('history', { package: 'windfall' })).changes.map((c: any) => c.label);
  assert.equal(labels.length, 7);
  assert.equal(await page.getByRole('button', { name: 'Undo' }).getAttribute('title'), `Undo: ${labels[6]}`);
  await page.getByRole('button', { name: 'History' }).click();
  await page.locator('#history-list li.applied').nth(6).waitFor();
  await visit.shot('edit-history.png');
  for (let undone = 1; undone <= labels.length; ++undone) {
    await page.locator('#map').click({ position: { x: 5, y: 5 } }); // the keys go to the page, not a field
    await page.keyboard.press('Control+z');
    await until(async () => (await rpc('history', { package: 'windfall' })).changes.filter((c: any) => c.undone).length,
      (n) => n === undone, `undo ${undone}`);
  }
  await until(async () => readFileSync(file).equals(demo), (same) => same, 'the package file is the demo again', SAVE_TIMEOUT_MS);
  await page.locator('#history-list li.undone').nth(6).waitFor();
  assert.equal(await page.getByRole('button', { name: 'Redo' }).getAttribute('title'), `Redo: ${labels[0]}`);
  await page.keyboard.press('Control+Shift+Z');
  await until(() => points('gate_guard'), (p) => p.length === 3, 'redo of the added point');
  await page.locator('[data-point="3"]').waitFor();
}

// The seated villager may not walk: its refusal shows and nothing is offered. A model's speed cleared is
// refused by the server: its text shows beside the settings and the package stays as it was.
async function refusalsChangeNothing(page: Page): Promise<void> {
  const history = JSON.stringify(await rpc('history', { package: 'windfall' }));
  const document = JSON.stringify(await rpc('document', { package: 'windfall' }));
  await page.getByRole('button', { name: 'Select harbour_seated_ym1' }).click();
  const seated = (await reply('add_route_point', { id: 'harbour_seated_ym1', position: { x: 0, y: 0, z: 0 } })).error.message;
  await page.locator('#edit-refusal').getByText(seated, { exact: true }).waitFor();
  assert.equal(await page.getByRole('button', { name: 'Add points' }).isDisabled(), true);
  assert.equal(await page.getByRole('button', { name: 'Remove route' }).isDisabled(), true);
  await page.keyboard.press('a');
  await page.mouse.click(900, 400);
  await page.keyboard.press('Delete');

  await page.getByRole('button', { name: 'Select ferry_cart' }).click();
  const speed = page.locator('#settings input[name="speed"]');
  await speed.and(page.locator(':not([disabled])')).waitFor();
  const stored = await speed.inputValue();
  await speed.fill('');
  await speed.press('Enter');
  await speed.blur();
  const refusal = (await reply('set_route', { id: 'ferry_cart', speed: null })).error.message;
  await page.locator('#settings .refusal').getByText(refusal, { exact: true }).waitFor();
  assert.equal(await speed.inputValue(), stored, 'the field does not show the stored speed again');
  await page.locator('#settings').scrollIntoViewIfNeeded();
  await visit.shot('edit-refusal.png');
  assert.equal(JSON.stringify(await rpc('document', { package: 'windfall' })), document, 'a refused edit changed the package');
  assert.equal(JSON.stringify(await rpc('history', { package: 'windfall' })), history, 'a refused edit was recorded');
}

async function secondPageSeesTheFirst(first: Page): Promise<number[]> {
  const second = await open(await visit.newPage());
  await selectGateGuard(second);
  await selectGateGuard(first);
  await first.locator('#settings select[name="mode"]').selectOption('loop');
  const start = performance.now();
  await second.locator('[data-insert-after="3"]').waitFor({ timeout: CHANGE_TIMEOUT_MS });
  const ms = performance.now() - start;
  // At the whole island's zoom point 2 may lie over point 3: the click goes to point 3's own marker.
  await second.locator('[data-point="3"]').dispatchEvent('click');
  await second.locator('[data-point="3"].selected-point').waitFor();
  await second.keyboard.press('Delete');
  await until(() => points('gate_guard'), (p) => p.length === 2, 'point 3 removed on the second page');
  const back = performance.now();
  await first.waitForFunction(() => !document.querySelector('[data-point="3"]'), null, { timeout: CHANGE_TIMEOUT_MS });
  await second.close();
  return [ms, performance.now() - back];
}

async function helpListsTheKeys(page: Page): Promise<void> {
  await page.locator('#map').click({ position: { x: 5, y: 5 } });
  await page.keyboard.press('?');
  const help = page.getByRole('region', { name: 'Keyboard shortcuts' });
  await help.waitFor();
  for (const key of ['A', 'Delete', 'Ctrl+Z', 'Ctrl+Shift+Z, Ctrl+Y', 'Alt+↑']) await help.getByText(key, { exact: true }).waitFor();
  await visit.shot('edit-help.png');
  await page.keyboard.press('Escape');
  await help.waitFor({ state: 'hidden' });
}

let demo = Buffer.alloc(0);
let file = '';

browserSuite('editing routes', { args: ['--demo', '--manual-clock'], outDir }, [
  ['gate_guard selected, the editing controls are there', async (v) => {
    visit = v;
    file = join((await rpc('status', {})).store as string, 'windfall.json');
    demo = readFileSync(file);
    await open(v.page);
    await selectGateGuard(v.page);
    for (const control of ['Add points', 'Remove point', 'Remove route', 'Undo', 'Redo', 'Check route'])
      await v.page.getByRole('button', { name: control, exact: true }).waitFor();
    await v.page.getByRole('switch', { name: 'Snap to ground' }).waitFor();
  }],
  ['the profile and the map follow each other', ({ page }) => profileAndMapFollowEachOther(page)],
  ['a click in adding mode adds a point', ({ page }) => addByClicking(page)],
  ['a point is dragged', ({ page }) => movePoint(page)],
  ['dragging a segment\'s middle inserts a point', ({ page }) => insertByDraggingTheMiddle(page)],
  ['Delete removes the selected point', ({ page }) => removeWithDelete(page)],
  ['points are reordered in the list', ({ page }) => reorderInTheList(page)],
  ['the mode is changed', async ({ page }) => {
    await page.locator('#settings select[name="mode"]').selectOption('loop');
    await until(() => route('gate_guard'), (r) => r.mode === 'loop', 'mode loop');
    await page.locator('[data-insert-after="3"]').waitFor(); // the loop closes back to point 0
    await page.locator('#point-list').scrollIntoViewIfNeeded();
    await visit.shot('edit-route.png');
  }],
  ['undo it all, the file is the demo\'s again; redo one', ({ page }) => undoAllThenRedo(page, demo, file)],
  ['help lists the keys', ({ page }) => helpListsTheKeys(page)],
  ['refused edits show the server\'s text and change nothing', ({ page }) => refusalsChangeNothing(page)],
  ['a second page sees the changes of the first', async ({ page }) => {
    const [there, back] = await secondPageSeesTheFirst(page);
    console.log(`a change on one page appeared on the other after ${there.toFixed(0)} ms, and back after ${back.toFixed(0)} ms`);
  }],
]);
