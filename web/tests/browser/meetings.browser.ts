// The meetings list, in Debian's chromium against `pathwright map --demo --manual-clock`: the first meeting
// finding of check_package is listed with the check's text and its place is on the map; chosen, it shows
// the timeline at its time, selects the first actor with its route and draws the other's route.
// Usage: meetings.browser.ts PATHWRIGHT_BINARY OUTPUT_DIR (the screenshot goes there).
import assert from 'node:assert/strict';
import { browserSuite, type Visit } from '../support/harness.js';

const outDir = process.argv[3];
if (!outDir) throw new Error('usage: meetings.browser.ts PATHWRIGHT_BINARY OUTPUT_DIR');
const OPEN_TIMEOUT_MS = 20000;


// The first meeting finding of check_package, chosen in the list: the time, both routes and the place.
async function choosingAMeetingShowsIt({ page, rpc, shot }: Visit): Promise<void> {
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
  await shot('timeline-meeting.png');
}

browserSuite('the meetings list', { args: ['--demo', '--manual-clock'], outDir, openTimeoutMs: OPEN_TIMEOUT_MS }, [
  ['choosing a meeting shows its time, both routes and its place', choosingAMeetingShowsIt],
]);
