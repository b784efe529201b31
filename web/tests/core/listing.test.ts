// Reading placed_actors pages, the capped search of the actor list, and which dot a click hits.
import { test } from 'node:test';
import assert from 'node:assert/strict';
import type { ActorInfo } from '../../src/core/model.js';
import { nearestDot, readListingPage, searchActors } from '../../src/core/listing.js';

test('a placed_actors page keeps walker, refusal, position and route (its readable points); a bad answer says what is wrong', () => {
  const read = readListingPage({ total: 3, next: 7, actors: [
    { id: 'a', type: 'resident', walker: 'resident', position: { x: 1, y: 2, z: 3 },
      path: { mode: 'loop', speed: 45, pauses: 1.5, points: [{ x: 4, y: 5, z: 6 }, { x: 'bad' }] } },
    { id: 'b', type: 'resident', walker: 'none', refusal: 'seated', position: null },
    { id: 'c', type: 'crate', walker: 'flying', position: { x: 1, y: 2 } },
  ] });
  assert.equal(read.ok, true, read.error);
  assert.equal(read.value!.next, 7);
  assert.deepEqual(read.value!.actors.map((l) => [l.info.id, l.info.walker, l.info.refusal, l.placed.position, l.placed.route]), [
    ['a', 'resident', undefined, { x: 1, y: 2, z: 3 }, { mode: 'loop', speed: 45, pauses: 1.5, points: [{ x: 4, y: 5, z: 6 }] }],
    ['b', 'none', 'seated', null, null],
    ['c', 'none', undefined, null, null],
  ]);
  const bad = [
    { answer: { actors: [] }, error: 'the placed_actors answer has no "actors" list or "total"' },
    { answer: { total: 1, next: '5', actors: [] }, error: 'the placed_actors answer\'s "next" is neither a number nor null' },
    { answer: { total: 1, next: null, actors: [{ type: 'resident' }] }, error: 'an actor in the placed_actors answer has no "id"' },
  ];
  for (const c of bad) assert.equal(readListingPage(c.answer).error, c.error);
});

test('the search matches id or type in any case and shows at most the cap, counting the rest', () => {
  const infos: ActorInfo[] = [
    { id: 'Sailor_1', type: 'resident', walker: 'resident' },
    { id: 'guard', type: 'bokoblin', walker: 'patroller' },
    { id: 'sailor_2', type: 'resident', walker: 'resident' },
    { id: 'sailor_3', type: 'resident', walker: 'resident' },
  ];
  const cases = [
    { text: '', max: 10, shown: ['Sailor_1', 'guard', 'sailor_2', 'sailor_3'], more: 0 },
    { text: ' SAILOR ', max: 10, shown: ['Sailor_1', 'sailor_2', 'sailor_3'], more: 0 },
    { text: 'sailor', max: 2, shown: ['Sailor_1', 'sailor_2'], more: 1 },
    { text: 'boko', max: 1, shown: ['guard'], more: 0 },
    { text: 'nobody', max: 1, shown: [], more: 0 },
  ];
  for (const c of cases) {
    const found = searchActors(infos, c.text, c.max);
    assert.deepEqual(found.shown.map((i) => i.id), c.shown, c.text);
    assert.equal(found.more, c.more, c.text);
  }
});

test('a click hits the nearest dot within the radius, never a skipped one or one without a position', () => {
  const xs = [0, 10, 10.5, NaN, 100];
  const zs = [0, 0, 0, 0, 100];
  const cases = [
    { at: [1, 0], radius: 5, skip: [] as number[], hit: 0 },
    { at: [10.4, 0], radius: 5, skip: [], hit: 2 },
    { at: [10.4, 0], radius: 5, skip: [2], hit: 1 },
    { at: [50, 50], radius: 5, skip: [], hit: -1 },
    { at: [100, 105], radius: 5, skip: [], hit: 4 },
    { at: [100, 105.1], radius: 5, skip: [], hit: -1 },
  ];
  for (const c of cases) {
    assert.equal(nearestDot(xs, zs, c.at[0], c.at[1], c.radius, (i) => c.skip.includes(i)), c.hit, JSON.stringify(c));
  }
});
