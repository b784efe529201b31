// Reading the server's answers and the map's coordinates.
import { test } from 'node:test';
import assert from 'node:assert/strict';
import { latLngToWorld, readActors, readCheck, readDocument, readProfile, worldToLatLng } from '../../src/core/model.js';

test('world x is the longitude and z minus the latitude, both ways', () => {
  const cases = [
    { world: { x: 0, z: 0 }, latlng: [0, 0] },
    { world: { x: 1800, z: -800 }, latlng: [800, 1800] },
    { world: { x: -2000, z: 1500 }, latlng: [-1500, -2000] },
  ];
  for (const c of cases) {
    assert.deepEqual(worldToLatLng(c.world), c.latlng);
    assert.deepEqual(latLngToWorld(c.latlng[0], c.latlng[1]), c.world);
  }
});

test('actors keep their walker and refusal; an unknown walker reads as none', () => {
  const read = readActors({ actors: [
    { id: 'a', type: 'resident', walker: 'resident' },
    { id: 'b', type: 'resident', walker: 'none', refusal: 'this villager is seated and does not walk' },
    { id: 'c', type: 'crate', walker: 'flying' },
  ] });
  assert.equal(read.ok, true);
  assert.deepEqual(read.value!.map((a) => [a.id, a.walker, a.refusal]), [
    ['a', 'resident', undefined],
    ['b', 'none', 'this villager is seated and does not walk'],
    ['c', 'none', undefined],
  ]);
});

test('malformed answers are refused with a text saying what is missing', () => {
  const cases = [
    { read: () => readActors({}), error: /"actors" list/ },
    { read: () => readActors({ actors: [{ type: 'x' }] }), error: /no "id"/ },
    { read: () => readDocument({ package: 'windfall' }), error: /"actors" list/ },
    { read: () => readCheck({ segments: [{ from: 0, ok: true }] }), error: /"from", "to" or "ok"/ },
    { read: () => readProfile({ samples: [] }), error: /"length"/ },
    { read: () => readProfile({ samples: [{ distance: 0 }], length: 1 }), error: /"height"/ },
  ];
  for (const c of cases) {
    const r = c.read();
    assert.equal(r.ok, false);
    assert.match(r.error, c.error);
  }
});

test('a document gives each actor its position and route settings; unreadable points are passed over', () => {
  const read = readDocument({ package: 'w', document: { actors: [
    { id: 'g', position: { x: 1, y: 2, z: 3 }, path: { mode: 'loop', speed: 45, pauses: 1.5,
      points: [{ x: 4, y: 5, z: 6 }, { x: 'bad' }] } },
    { id: 'sign', position: { x: 0, y: 0, z: 0 } },
  ] } });
  assert.deepEqual(read.value, [
    { id: 'g', position: { x: 1, y: 2, z: 3 }, route: { mode: 'loop', speed: 45, pauses: 1.5, points: [{ x: 4, y: 5, z: 6 }] } },
    { id: 'sign', position: { x: 0, y: 0, z: 0 }, route: null },
  ]);
});

test('a profile keeps missing ground as null', () => {
  const read = readProfile({ length: 25, samples: [
    { distance: 0, height: 100, ground: 100, segment: 0 },
    { distance: 25, height: 90, ground: null, segment: 0 },
  ] });
  assert.deepEqual(read.value!.samples.map((s) => s.ground), [100, null]);
});
