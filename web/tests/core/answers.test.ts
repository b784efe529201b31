// Reading answers beyond their result: warnings, refusals that call for a reload, a package's conflict in
// `status`, and what a reload set aside.
import { test } from 'node:test';
import assert from 'node:assert/strict';
import { changedOutside, readConflict, readEdit, readGroundPoint, readPackages, readWarnings, reloadNote } from '../../src/core/answers.js';
import { readEvent } from '../../src/core/events.js';

test('warnings are read from any result, and only strings count', () => {
  const cases: { result: unknown; warnings: string[] }[] = [
    { result: { point: 3, warnings: ['unknown parameter "speeed"'] }, warnings: ['unknown parameter "speeed"'] },
    { result: { warnings: ['a', 5, '', 'b'] }, warnings: ['a', 'b'] },
    { result: { point: 3 }, warnings: [] },
    { result: { warnings: 'unknown parameter "x"' }, warnings: [] },
    { result: null, warnings: [] },
    { result: [1, 2], warnings: [] },
  ];
  for (const c of cases) assert.deepEqual(readWarnings(c.result), c.warnings, JSON.stringify(c.result));
});

test('a refusal calls for a reload only when the file was changed outside', () => {
  assert.equal(changedOutside('package "windfall" was changed outside the editor: reload it before editing'), true);
  assert.equal(changedOutside('no actor "nobody" in package "windfall"'), false);
});

test('status names the conflict of the page\'s package only', () => {
  const status = {
    conflicts: [
      { package: 'other', problem: 'x', waiting: ['A'] },
      { package: 'windfall', problem: 'changed outside the editor while ...', waiting: ['Add a route point to gate_guard', 7] },
    ],
  };
  assert.deepEqual(readConflict(status, 'windfall'),
    { problem: 'changed outside the editor while ...', waiting: ['Add a route point to gate_guard'] });
  assert.equal(readConflict(status, 'nosuch'), null);
  assert.equal(readConflict({ conflicts: [] }, 'windfall'), null);
  assert.equal(readConflict({}, 'windfall'), null);
});

test('a reload says which waiting changes it set aside and where they are kept', () => {
  const cases: { result: unknown; note: string }[] = [
    { result: { actors: 9, changes: 0 }, note: 'Reloaded windfall from its file; no waiting change was set aside' },
    {
      result: { discarded: ['Add a route point to gate_guard', 'Move point 2 of baker_ub3'], kept_in: 'S/.pathwright/windfall.discarded' },
      note: 'Reloaded windfall from its file; set aside: Add a route point to gate_guard; Move point 2 of baker_ub3 (kept in S/.pathwright/windfall.discarded)',
    },
    { result: { discarded: ['A'] }, note: 'Reloaded windfall from its file; set aside: A' },
  ];
  for (const c of cases) assert.equal(reloadNote('windfall', c.result), c.note);
});

test('a route command\'s result gives the point, the snap note and whether the route went', () => {
  const cases: { result: unknown; read: ReturnType<typeof readEdit> }[] = [
    { result: { point: 3, snap_note: 'no ground below (120, 40)' }, read: { point: 3, snapNote: 'no ground below (120, 40)', routeRemoved: false } },
    { result: { point: 2, route_removed: true }, read: { point: 2, snapNote: '', routeRemoved: true } },
    { result: { point: '3', route_removed: 'yes' }, read: { point: null, snapNote: '', routeRemoved: false } },
    { result: null, read: { point: null, snapNote: '', routeRemoved: false } },
  ];
  for (const c of cases) assert.deepEqual(readEdit(c.result), c.read, JSON.stringify(c.result));
});

test('ground_point gives the ground\'s height, or the note why there is none', () => {
  assert.deepEqual(readGroundPoint({ position: { x: 1, y: 42.5, z: 2 } }), { y: 42.5, note: '' });
  assert.deepEqual(readGroundPoint({ position: { x: 1, y: 100, z: 2 }, snap_note: 'no ground' }), { y: null, note: 'no ground' });
  assert.deepEqual(readGroundPoint({}), { y: null, note: 'the ground_point answer has no "position"' });
});

test('packages are read by name, skipping entries without one', () => {
  assert.deepEqual(readPackages({ packages: [{ name: 'windfall' }, { size: 3 }, { name: 'outset' }] }), ['windfall', 'outset']);
  assert.deepEqual(readPackages({ packages: 'windfall' }), []);
});

test('the server\'s events are read into typed values; one lacking what the page needs is none', () => {
  const low = { x: -4000, y: 0, z: -4000 }, high = { x: 4000, y: 900, z: 4000 };
  const cases: { name: string; data: unknown; read: ReturnType<typeof readEvent> }[] = [
    { name: 'game', data: { connected: true, bounds: { low, high } }, read: { name: 'game', connected: true, bounds: { low, high }, problem: '' } },
    { name: 'game', data: { connected: false, problem: 'the game closed' }, read: { name: 'game', connected: false, bounds: null, problem: 'the game closed' } },
    { name: 'game', data: { connected: false, bounds: { low } }, read: { name: 'game', connected: false, bounds: null, problem: 'no game is connected' } },
    { name: 'change', data: { package: 'windfall', kind: 'undo', label: 'Move point 2', revision: 4 }, read: { name: 'change', package: 'windfall', kind: 'undo', label: 'Move point 2' } },
    { name: 'change', data: { kind: 'undo' }, read: null },
    { name: 'live', data: { package: 'windfall', actors: [{ id: 'a', position: low }, { id: 'b' }] }, read: { name: 'live', package: 'windfall', actors: [{ id: 'a', position: low }] } },
    { name: 'live', data: { package: 'windfall' }, read: null },
    { name: 'reload', data: {}, read: { name: 'reload' } },
    { name: 'bad', data: '{', read: null },
  ];
  for (const c of cases) assert.deepEqual(readEvent(c.name, c.data), c.read, `${c.name} ${JSON.stringify(c.data)}`);
});
