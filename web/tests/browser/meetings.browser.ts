// The meetings list, in Debian's chromium against `pathwright map --demo --manual-clock`: the first meeting
// finding of check_package is listed with the check's text and its place is on the map; chosen, it shows
// the timeline at its time, selects the first actor with its route and draws the other's route.
// Usage: meetings.browser.ts PATHWRIGHT_BINARY OUTPUT_DIR (the screenshot goes there).
import { mkdirSync, rmSync } from 'node:fs';
import { join } from 'node:path';
import assert from 'node:assert/strict';
import type { Page } from 'playwright-core';
import { launchChromium, openMap, rpc as call, startMap, stopMap } from '../support/harness.js';

const [binary, outDir] = process.argv.slice(2);
if (!binary || !outDir) throw new Error('usage: meetings.browser.ts PATHWRIGHT_BINARY OUTPUT_DIR');
const OPEN_TIMEOUT_MS = 20000;

const server = await startMap(binary, ['--demo', '--manual-clock']);
const { browser, profile } = await launchChromium();
const rpc = (method: string, params: Record<string, unknown>) => call(server, method, params);
const shot = async (page: Page, name: string) => {
  await page.screenshot({ path: join(outDir, name) });
  console.log(`screenshot: ${join(outDir, name)}`);
};

// The first meeting finding of check_package, chosen in the list: the time, both routes and the place.
async function choosingAMeetingShowsIt(page: Page): Promise<void> {
  const finding = (await rpc('check_package', { package: 'windfall' })).findings.find((f: any) => typeof f.other === 'string');
  assert.ok(finding, 'the demo package has no meeting');
  await page.getByRole('button', { name: 'Meetings' }).click();
  const item = page.getByRole('list', { name: 'Meetings' }).locator(`[data-meeting="${finding.id} ${finding.other}"]`);
  await item.waitFor();
  assert.ok((await item.textContent())?.includes(finding.text), 'the list shows the finding\'s text');
  assert.ok(await page.locator('[data-meeting-place]').count() >= 1, 'no meeting place on the map');
  await item.click();
  await page.waitForFunction((id) => document.getElementById('details-title')?.textContent === id, finding.id);
  await page.waitForFunction((t) => document.getElementById('timeline-bar')?.dataset.time === t.toFixed(1), finding.seconds);
  assert.equal(Number(await page.getByRole('slider', { name: 'Time' }).inputValue()), finding.seconds);
  assert.ok(await page.locator('[data-point]').count() >= 2, `the route of ${finding.id} is not drawn`);
  const otherWalks = (await rpc('walkers_at', { package: 'windfall', seconds: 0 })).actors.some((a: any) => a.id === finding.other);
  if (otherWalks) await page.locator(`[data-route-of="${finding.other}"]`).waitFor();
  await page.locator(`.meeting-mark.chosen[data-meeting-place="${finding.id} ${finding.other}"]`).waitFor();
  await shot(page, 'timeline-meeting.png');
}

let failed = false;
try {
  mkdirSync(outDir, { recursive: true });
  const page = await browser.newPage();
  const errors: string[] = [];
  page.on('pageerror', (e) => errors.push(e.message));
  page.on('console', (m) => void (m.type() === 'error' && errors.push(`${m.text()} ${m.location().url}`)));
  await openMap(page, server, OPEN_TIMEOUT_MS);
  await choosingAMeetingShowsIt(page);
  assert.deepEqual(errors, [], 'the page threw');
} catch (e) {
  failed = true;
  console.error(e);
} finally {
  await browser.close();
  rmSync(profile, { recursive: true, force: true });
  await stopMap(server);
}
process.exit(failed ? 1 : 0);
