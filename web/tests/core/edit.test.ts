// Editing's core: what a drag or a key means as a route command, what Undo and Redo would do, reading
// route_fields, and the walk's distance <-> map position that links the profile with the map.
import { test } from 'node:test';
import assert from 'node:assert/strict';
import type { Placed, Walker } from '../../src/core/model.js';
import {
  alongWalk, insertAfter, nearestOnWalk, nextUndoRedo, readFields, readHistory,
  selectionAfterRemoval, stepReorder,
} from '../../src/core/edit.js';
import { actionFor, SHORTCUTS } from '../../src/core/keys.js';
import { drawRoute } from '../../src/core/route.js';

const p = (x: number, z: number, y = 0) => ({ x, y, z });
const square = (mode: string): Placed => ({
  id: 'a', position: p(0, 0), route: { mode, points: [p(100, 0), p(100, 100), p(0, 100)] },
});

test('dragging the middle of a segment inserts after its first point, the closing one after the last', () => {
  const cases: { walker: Walker; mode: string; after: number[] }[] = [
    { walker: 'resident', mode: 'once', after: [0, 1, 2] },
    { walker: 'resident', mode: 'loop', after: [0, 1, 2, 3] },
    { walker: 'model', mode: 'loop', after: [1, 2, 3] },
  ];
  for (const c of cases) {
    const after = drawRoute(square(c.mode), c.walker).segments.map(insertAfter);
    assert.deepEqual(after, c.after, `${c.walker} ${c.mode}`);
  }
});

test('undo names the newest applied change and redo the oldest undone one', () => {
  const h = (undone: boolean[]) => undone.map((u, i) => ({ label: `change ${i + 1}`, time: '', undone: u }));
  const cases = [
    { undone: [], undo: null, redo: null },
    { undone: [false, false], undo: 'change 2', redo: null },
    { undone: [false, true, true], undo: 'change 1', redo: 'change 2' },
    { undone: [true, true], undo: null, redo: 'change 1' },
  ];
  for (const c of cases) assert.deepEqual(nextUndoRedo(h(c.undone)), { undo: c.undo, redo: c.redo }, JSON.stringify(c.undone));
});

test('the history answer is read with times; a malformed one is refused', () => {
  const good = { changes: [{ label: 'Add a route point to a', time: '2026-11-23T10:00:00Z', undone: false }] };
  assert.deepEqual(readHistory(good), [{ label: 'Add a route point to a', time: '2026-11-23T10:00:00Z', undone: false }]);
  assert.equal(readHistory({ changes: [{ time: 'x' }] }), null);
  assert.equal(readHistory({}), null);
});

test('route_fields: refusals are taken as the server wrote them, and a field it left out counts as refused', () => {
  const fields = readFields({ fields: {
    mode: { may_set: true },
    speed: { may_set: false, refusal: 'a Bokoblin or Moblin patrols at its own pace' },
    pauses: { may_set: true }, walk: { may_set: true },
  } });
  assert.ok(fields);
  assert.deepEqual(fields.fields.mode, { maySet: true, refusal: '' });
  assert.deepEqual(fields.fields.speed, { maySet: false, refusal: 'a Bokoblin or Moblin patrols at its own pace' });
  assert.equal(fields.fields.idle.maySet, false);
  assert.match(fields.fields.idle.refusal, /did not say/);
  assert.equal(readFields({ id: 'a' }), null);
});

test('after a removal the point before is selected; reordering by key stops at the ends', () => {
  assert.equal(selectionAfterRemoval(3, 4), 2);
  assert.equal(selectionAfterRemoval(1, 2), 1);
  assert.equal(selectionAfterRemoval(5, 4), 4);
  assert.equal(selectionAfterRemoval(1, 0), null);
  assert.deepEqual(stepReorder(2, -1, 3), { point: 2, to: 1 });
  assert.deepEqual(stepReorder(2, 1, 3), { point: 2, to: 3 });
  assert.equal(stepReorder(1, -1, 3), null);
  assert.equal(stepReorder(3, 1, 3), null);
});

test('the profile distance and the map position match both ways along the walk', () => {
  const d = drawRoute(square('loop'), 'resident'); // 0,0 -> 100,0 -> 100,100 -> 0,100 -> back: 400 long
  const cases = [
    { distance: 0, at: { x: 0, z: 0 }, mouse: { x: 0, z: -3 } },
    { distance: 150, at: { x: 100, z: 50 }, mouse: { x: 103, z: 50 } },
    { distance: 350, at: { x: 0, z: 50 }, mouse: { x: -3, z: 50 } },
  ];
  for (const c of cases) {
    assert.deepEqual(alongWalk(d, c.distance), c.at, `at ${c.distance}`);
    assert.deepEqual(nearestOnWalk(d, c.mouse), { distance: c.distance, off: 3 }, `back from ${c.distance}`);
  }
  assert.equal(alongWalk(d, 401), null);
  assert.equal(alongWalk(drawRoute({ id: 'b', position: null, route: null }, 'model'), 0), null);
});

test('keys: each shortcut reaches its own action, and typing in a field triggers none but Escape', () => {
  const k = (key: string, mods: { ctrl?: boolean; shift?: boolean; alt?: boolean } = {}) =>
    ({ key, ctrl: false, shift: false, alt: false, ...mods });
  const cases = [
    { press: k('a'), action: 'toggle-adding' },
    { press: k('A', { shift: true }), action: null },
    { press: k('Delete'), action: 'remove-point' },
    { press: k('Delete', { shift: true }), action: 'remove-route' },
    { press: k('z', { ctrl: true }), action: 'undo' },
    { press: k('Z', { ctrl: true, shift: true }), action: 'redo' },
    { press: k('y', { ctrl: true }), action: 'redo' },
    { press: k('ArrowUp', { alt: true }), action: 'point-earlier' },
    { press: k('ArrowUp'), action: null },
    { press: k('L', { shift: true }), action: 'move-to-link' },
    { press: k('?', { shift: true }), action: 'help' },
  ];
  for (const c of cases) assert.equal(actionFor(c.press, false), c.action, JSON.stringify(c.press));
  assert.equal(actionFor(k('a'), true), null);
  assert.equal(actionFor(k('z', { ctrl: true }), true), null);
  assert.equal(actionFor(k('Escape'), true), 'escape');
  assert.equal(new Set(SHORTCUTS.map((s) => s.action)).size, SHORTCUTS.length, 'an action is listed twice');
});
