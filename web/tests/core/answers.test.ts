// Reading answers beyond their result: warnings, refusals that call for a reload, a package's conflict in
// `status`, and what a reload set aside.
import { test } from 'node:test';
import assert from 'node:assert/strict';
import { changedOutside, readConflict, readWarnings, reloadNote } from '../../src/core/answers.js';

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
