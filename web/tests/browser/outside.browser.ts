// What the page shows beside an answer, in Debian's chromium against `pathwright map` on a copy of the demo
// store: an answer's warnings where a refusal would be (the /rpc answer given warnings by a stand-in that
// adds them to the real one), and the changed-outside banner: a hand edit of the package file while a
// change waited to be saved makes Undo refuse, the banner says why and what waits, and its Reload button
// reloads, says what was set aside and keeps the hand edit. Screenshots go to OUTPUT_DIR.
// Usage: outside.browser.ts PATHWRIGHT_BINARY EXAMPLES_DIR OUTPUT_DIR
import { cpSync, mkdtempSync, readFileSync, renameSync, rmSync, writeFileSync } from 'node:fs';
import { tmpdir } from 'node:os';
import { join } from 'node:path';
import assert from 'node:assert/strict';
import { after } from 'node:test';
import { browserSuite, until, type Visit } from '../support/harness.js';

const [examples, outDir] = process.argv.slice(3);
if (!examples || !outDir) throw new Error('usage: outside.browser.ts PATHWRIGHT_BINARY EXAMPLES_DIR OUTPUT_DIR');
const READY_TIMEOUT_MS = 20000;
const FOLD_DUE_MS = 1000; // the map folds a waiting change into the file after 400 ms; by then it found the hand edit
const WARNING = 'unknown parameter "speeed"';

const store = mkdtempSync(join(tmpdir(), 'pathwright-outside-'));
cpSync(join(examples, 'windfall'), store, { recursive: true });
const file = join(store, 'windfall.json');
after(() => rmSync(store, { recursive: true, force: true }));

// Any command's warnings show in the box where its refusal would, marked data-warning.
async function warningsShow({ page }: Visit): Promise<void> {
  await page.route('**/rpc', async (route) => {
    const response = await route.fetch();
    const reply = await response.json();
    if (JSON.parse(route.request().postData() ?? '{}').method === 'add_route_point' && reply.result)
      reply.result.warnings = [WARNING];
    // Under load the page may have given the request up meanwhile; the assertions below judge what it shows.
    await route.fulfill({ response, json: reply }).catch(() => undefined);
  });
  await page.getByRole('button', { name: 'Add at Link' }).click();
  const box = page.locator('#edit-tools [data-warning]');
  await box.waitFor();
  assert.equal(await box.getAttribute('data-warning'), WARNING);
  assert.equal(await box.textContent(), `Warning: ${WARNING}`);
  await page.unrouteAll({ behavior: 'ignoreErrors' });
}

// The page's own add must be in the file before the hand edit, or the reload would set it aside too.
async function foldedInto(original: string): Promise<void> {
  await until(async () => readFileSync(file, 'utf8') !== original, (saved) => saved, 'the page\'s add was never saved', READY_TIMEOUT_MS);
}

async function reloadAfterAHandEdit({ page, rpc, shot }: Visit): Promise<void> {
  await rpc('add_route_point', { package: 'windfall', id: 'gate_guard', position: { x: 9, y: 100, z: 9 } });
  const hand = readFileSync(file, 'utf8').replace('"notice_sign"', '"notice_board"'); // before the change is folded
  writeFileSync(`${file}.hand`, hand);
  renameSync(`${file}.hand`, file);
  await page.waitForTimeout(FOLD_DUE_MS);

  await page.getByRole('button', { name: 'Undo' }).click();
  const banner = page.getByRole('alert', { name: 'Changed outside the editor' });
  await banner.waitFor();
  assert.match(await page.locator('#outside-reason').textContent() ?? '', /changed outside the editor/);
  assert.match(await page.locator('#outside-waiting').textContent() ?? '', /Add a route point to gate_guard/);
  await shot('outside-banner.png');

  await banner.getByRole('button', { name: 'Reload' }).click();
  const note = page.locator('[data-reload-note]');
  await note.filter({ hasText: 'set aside' }).waitFor();
  assert.match(await note.textContent() ?? '',
    /^Reloaded windfall from its file; set aside: Add a route point to gate_guard \(kept in .*windfall\.discarded\)$/);
  assert.equal(await page.locator('#outside').isHidden(), true, 'the banner stayed');
  assert.equal(await page.locator('[data-refusal]').count(), 0, 'the refusal that asked for the reload stayed');
  const ids = (await rpc('document', { package: 'windfall' })).document.actors.map((a: any) => a.id);
  assert.ok(ids.includes('notice_board'), 'the hand edit was not taken');
  // Editing works again: the conflict is gone.
  const count = async () =>
    (await rpc('document', { package: 'windfall' })).document.actors.find((a: any) => a.id === 'gate_guard').path.points.length;
  const before = await count();
  await page.getByRole('button', { name: 'Add at Link' }).click();
  await until(count, (n) => n === before + 1, 'gate_guard\'s points after an add following the reload');
}

let original = '';

// The page's console is not watched: the refusals this test provokes are logged there.
browserSuite('warnings and the changed-outside banner', { args: ['--store', store, '--demo', '--manual-clock'], outDir,
  openTimeoutMs: READY_TIMEOUT_MS, consoleErrors: false }, [
  ['an answer\'s warnings show where a refusal would', async (v) => {
    original = readFileSync(file, 'utf8');
    await v.page.getByRole('button', { name: 'Select gate_guard' }).click();
    await v.page.locator('[data-point="2"]').waitFor();
    await warningsShow(v);
  }],
  ['the page\'s own add is saved into the file', () => foldedInto(original)],
  ['after a hand edit the banner says why, and Reload keeps the hand edit', reloadAfterAHandEdit],
]);
