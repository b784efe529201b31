// What the page draws for a route: numbering, closing, check colours, problems along the walk.
import { test } from 'node:test';
import assert from 'node:assert/strict';
import type { Placed, Walker } from '../../src/core/model.js';
import { arrowFor, between, describeSettings, drawRoute, gridStep, problemDistances } from '../../src/core/route.js';

const p = (x: number, z: number, y = 0) => ({ x, y, z });
const actor = (mode: string, extra: Partial<Placed['route']> = {}): Placed => ({
  id: 'a', position: p(0, 0), route: { mode, points: [p(100, 0), p(100, 100), p(0, 100)], ...extra },
});

test('points are numbered as the check numbers them, and a loop closes', () => {
  const cases: { walker: Walker; mode: string; points: number[]; segments: string[] }[] = [
    { walker: 'resident', mode: 'once', points: [0, 1, 2, 3], segments: ['0-1', '1-2', '2-3'] },
    { walker: 'patroller', mode: 'loop', points: [0, 1, 2, 3], segments: ['0-1', '1-2', '2-3', '3-0'] },
    { walker: 'model', mode: 'back_and_forth', points: [1, 2, 3], segments: ['1-2', '2-3'] },
    { walker: 'model', mode: 'loop', points: [1, 2, 3], segments: ['1-2', '2-3', '3-1'] },
  ];
  for (const c of cases) {
    const d = drawRoute(actor(c.mode), c.walker);
    assert.deepEqual(d.points.map((q) => q.number), c.points, `${c.walker} ${c.mode}`);
    assert.deepEqual(d.segments.map((s) => `${s.from}-${s.to}`), c.segments, `${c.walker} ${c.mode}`);
  }
});

test('segments take their check result; unchecked ones stay null', () => {
  const d = drawRoute(actor('once'), 'resident', [
    { from: 0, to: 1, ok: false, at: p(40, 0), problem: 'a drop' },
    { from: 1, to: 2, ok: true },
  ]);
  assert.deepEqual(d.segments.map((s) => s.ok), [false, true, null]);
});

test('problems lie along the walk at the horizontal distance the profile uses', () => {
  const checked = [
    { from: 0, to: 1, ok: false, at: p(40, 0, 500), problem: 'a drop' },
    { from: 2, to: 3, ok: false, at: p(70, 100), problem: 'no ground' },
  ];
  const d = drawRoute(actor('once'), 'resident', checked);
  assert.deepEqual(problemDistances(d, checked), [
    { distance: 40, problem: 'a drop' },
    { distance: 230, problem: 'no ground' },
  ]);
});

test('arrows point the way the walk goes, z downwards on screen', () => {
  const cases = [
    { a: p(0, 0), b: p(100, 0), degrees: 0 },
    { a: p(0, 0), b: p(0, 100), degrees: 90 },
    { a: p(100, 0), b: p(0, 0), degrees: 180 },
  ];
  for (const c of cases) assert.equal(arrowFor({ from: 0, to: 1, a: c.a, b: c.b, ok: null }).degrees, c.degrees);
});

test('settings say mode, speed and pauses', () => {
  const cases = [
    { route: actor('once'), text: "mode: once · speed: the type's own pace · no pauses" },
    { route: actor('loop', { speed: 45, pauses: 1.5 }), text: 'mode: loop · speed: 45 · pauses 1.5 s at every point' },
    { route: actor('once', { pauses: true }), text: "mode: once · speed: the type's own pace · pauses at every point" },
    { route: { id: 'sign', position: p(0, 0), route: null }, text: 'no route' },
  ];
  for (const c of cases) assert.equal(describeSettings(c.route), c.text);
});

test('a walker between two live positions stays on the line and stops at the end', () => {
  assert.deepEqual(between(p(0, 0), p(100, 50), 0.5), p(50, 25));
  assert.deepEqual(between(p(0, 0), p(100, 50), 3), p(100, 50));
});

test('grid lines lie about 100 pixels apart on 1-2-5 steps', () => {
  const cases = [
    { zoom: 0, step: 100 },
    { zoom: 2, step: 50 },
    { zoom: -2, step: 500 },
    { zoom: -5, step: 5000 },
  ];
  for (const c of cases) assert.equal(gridStep(c.zoom), c.step, `zoom ${c.zoom}`);
});
