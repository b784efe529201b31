// Reading the server's answers and the map's coordinates.
import { test } from 'node:test';
import assert from 'node:assert/strict';
import { latLngToWorld, readCheck, readProfile, worldToLatLng } from '../../src/core/model.js';

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

test('malformed answers are refused with a text saying what is missing', () => {
  const cases = [
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

test('a profile keeps missing ground as null', () => {
  const read = readProfile({ length: 25, samples: [
    { distance: 0, height: 100, ground: 100, segment: 0 },
    { distance: 25, height: 90, ground: null, segment: 0 },
  ] });
  assert.deepEqual(read.value!.samples.map((s) => s.ground), [100, null]);
});
