// The timeline bar, in Debian's chromium against `pathwright map --demo --manual-clock`: labels of actors
// standing close together never overlap; on "Timeline" space plays and pauses; scrubbed to a time,
// walkers' markers stand where walkers_at says; back on "Live" the markers drop the timeline's places. The
// meetings list: the first meeting finding of check_package is listed with the check's text and its place
// is on the map; chosen, it shows the timeline at its time, selects the first actor with its route and
// draws the other's route.
// Usage: timeline.browser.ts PATHWRIGHT_BINARY OUTPUT_DIR (the screenshot goes there).
import assert from 'node:assert/strict';
import { browserSuite, type Visit } from '../support/harness.js';

const outDir = process.argv[3];
if (!outDir) throw new Error('usage: timeline.browser.ts PATHWRIGHT_BINARY OUTPUT_DIR');
const OPEN_TIMEOUT_MS = 20000;
const PLAY_MS = 600; // long enough for several frames at ×1
const UNITS_TOLERANCE = 0.11; // both sides are rounded to one decimal
const SCRUB_TIMES = [7.3, 21.6];

// No two labels shown on the map overlap (a hidden one shows only on hover).
async function labelsDoNotOverlap({ page }: Visit): Promise<void> {
  const boxes = await page.$$eval('[data-actor-id] .actor-label', (labels) => labels
    .filter((l) => getComputedStyle(l).display !== 'none')
    .map((l) => ({ id: l.textContent, ...JSON.parse(JSON.stringify(l.getBoundingClientRect())) })));
  for (let i = 0; i < boxes.length; ++i)
    for (let j = i + 1; j < boxes.length; ++j) {
      const a = boxes[i], b = boxes[j];
      const overlap = a.left < b.right && b.left < a.right && a.top < b.bottom && b.top < a.bottom;
      assert.ok(!overlap, `the labels of ${a.id} and ${b.id} overlap`);
    }
  // The steps chatters stand a few units apart: their labels cannot both be shown, and the mouse shows a hidden one.
  const hidden = page.locator('[data-actor-id^="steps_chatter_"].label-hidden');
  assert.ok(await hidden.count() >= 1, 'both steps chatters show their labels');
  await hidden.last().hover(); // the later marker lies on top
  assert.equal(await hidden.last().locator('.actor-label').isVisible(), true, 'a hidden label does not show on hover');
}

// Space plays (the walkers move on the map) and pauses; paused, the walkers' markers carry their places
// again (where, at the time shown: the scrubbing step) and the slider holds the time played to.
async function spacePlaysAndPauses({ page }: Visit): Promise<void> {
  const bar = page.getByRole('toolbar', { name: 'Timeline' });
  await page.getByRole('radio', { name: 'Timeline' }).check();
  await page.waitForFunction(() => document.getElementById('timeline-bar')?.dataset.walkers !== undefined);
  const stamped = await page.locator('[data-actor-id][data-x]').count();
  assert.ok(stamped >= 2, `${stamped} walkers' markers carry their places`);
  await page.locator('#map').click({ position: { x: 5, y: 300 } }); // the focus off the radio, as a person would
  await page.keyboard.press(' ');
  await bar.getByRole('button', { name: 'Pause' }).waitFor();
  await page.waitForTimeout(PLAY_MS);
  await page.keyboard.press(' ');
  await bar.getByRole('button', { name: 'Play' }).waitFor();
  const time = Number(await page.locator('#timeline-bar').getAttribute('data-time'));
  assert.ok(time > 0 && time < 60, `played to ${time} s`);
  assert.equal(await page.locator('[data-actor-id][data-x]').count(), stamped, 'paused, the walkers have their markers back');
  assert.equal(Number(await page.getByRole('slider', { name: 'Time' }).inputValue()).toFixed(1), time.toFixed(1), 'the slider');
}

// Scrubbed to a time, two walkers' markers carry the places walkers_at gives for that time.
async function scrubbedWalkersStandWhereWalkersAtSays({ page, rpc }: Visit): Promise<void> {
  const shown = new Set(await page.$$eval('[data-actor-id][data-x]', (els) => els.map((e) => e.getAttribute('data-actor-id'))));
  const seen: Record<string, string[]> = {};
  for (const seconds of SCRUB_TIMES) {
    await page.getByRole('slider', { name: 'Time' }).fill(String(seconds));
    await page.waitForFunction((t) => document.getElementById('timeline-bar')?.dataset.time === t.toFixed(1), seconds);
    assert.match(await page.locator('#timeline-bar output').textContent() ?? '', new RegExp(`^${seconds} s of `));
    const actors = (await rpc('walkers_at', { package: 'windfall', seconds })).actors
      .filter((a: { id: string }) => shown.has(a.id)).slice(0, 2);
    assert.equal(actors.length, 2, 'two walkers on the map');
    for (const a of actors) {
      const marker = page.locator(`[data-actor-id="${a.id}"]`);
      const x = Number(await marker.getAttribute('data-x')), z = Number(await marker.getAttribute('data-z'));
      assert.ok(Math.abs(x - a.position.x) <= UNITS_TOLERANCE, `${a.id} at ${seconds} s: x ${x}, walkers_at ${a.position.x}`);
      assert.ok(Math.abs(z - a.position.z) <= UNITS_TOLERANCE, `${a.id} at ${seconds} s: z ${z}, walkers_at ${a.position.z}`);
      (seen[a.id] ??= []).push(`${x},${z}`);
    }
  }
  assert.ok(Object.values(seen).some((places) => places[0] !== places[1]), 'no walker moved between the two times');
}

async function liveDropsTheTimeline({ page }: Visit): Promise<void> {
  await page.getByRole('radio', { name: 'Live' }).check();
  assert.equal(await page.locator('[data-actor-id][data-x]').count(), 0, 'markers keep the timeline\'s places on "Live"');
  assert.equal(await page.getByRole('slider', { name: 'Time' }).isDisabled(), true);
}

// The first meeting finding of check_package, chosen in the list: the time, both routes and the place.
async function choosingAMeetingShowsIt({ page, rpc }: Visit): Promise<void> {
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
}

browserSuite('the timeline bar and the meetings list', { args: ['--demo', '--manual-clock'], outDir, openTimeoutMs: OPEN_TIMEOUT_MS }, [
  ['labels of actors close together do not overlap', async (v) => {
    await v.page.locator('[data-actor-id="steps_chatter_ub2"]').waitFor();
    await labelsDoNotOverlap(v);
  }],
  ['space plays and pauses', spacePlaysAndPauses],
  ['scrubbed, walkers stand where walkers_at says', async (v) => {
    await scrubbedWalkersStandWhereWalkersAtSays(v);
    await v.shot('timeline.png');
  }],
  ['"Live" drops the timeline', liveDropsTheTimeline],
  ['choosing a meeting shows its time, both routes and its place', choosingAMeetingShowsIt],
]);
