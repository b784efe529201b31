// Reading the timeline and the meeting findings, places between keys, and labels that must not overlap.
import { test } from 'node:test';
import assert from 'node:assert/strict';
import { advance, labelsThatFit, meetingLine, placeAt, readMeetings, readTimeline } from '../../src/core/timeline.js';

// A walker that leaves (0, 100, 0) for (100, 100, 0) at 0 s, arrives at 10 s, pauses there until 12 s,
// walks to (100, 140, 50) by 17 s and stays.
const answer = {
  seconds: 600,
  walkers: [{ id: 'baker', keys: [
    [0, 0, 100, 0, 1, 'walking'],
    [10, 100, 100, 0, 1, 'pausing'],
    [12, 100, 100, 0, 2, 'walking'],
    [17, 100, 140, 50, 2, 'arrived'],
  ] }],
  standing: [{ id: 'notice_sign', position: { x: 5, y: 6, z: 7 } }],
};

test('a walker is on the straight line between the keys around the time, and stays after the last', () => {
  const read = readTimeline(answer);
  assert.equal(read.ok, true, read.error);
  const baker = read.value!.walkers[0];
  const cases = [
    { t: -1, at: [0, 100, 0], point: 1, motion: 'walking' },
    { t: 0, at: [0, 100, 0], point: 1, motion: 'walking' },
    { t: 2.5, at: [25, 100, 0], point: 1, motion: 'walking' },
    { t: 10, at: [100, 100, 0], point: 1, motion: 'pausing' },
    { t: 11.9, at: [100, 100, 0], point: 1, motion: 'pausing' },
    { t: 14.5, at: [100, 120, 25], point: 2, motion: 'walking' },
    { t: 17, at: [100, 140, 50], point: 2, motion: 'arrived' },
    { t: 600, at: [100, 140, 50], point: 2, motion: 'arrived' },
  ];
  for (const c of cases) {
    const p = placeAt(baker, c.t);
    assert.deepEqual([p.x, p.y, p.z, p.point, p.motion], [...c.at, c.point, c.motion], `at ${c.t} s`);
  }
  assert.deepEqual(read.value!.standing, [{ id: 'notice_sign', position: { x: 5, y: 6, z: 7 } }]);
});

test('two keys at the same time (a turn without a pause) give the later one from then on', () => {
  const read = readTimeline({ seconds: 10, walkers: [{ id: 'w', keys: [
    [0, 0, 0, 0, 1, 'walking'],
    [4, 40, 0, 0, 1, 'walking'],
    [4, 40, 0, 0, 2, 'walking'],
    [8, 40, 0, 40, 2, 'arrived'],
  ] }] });
  const w = read.value!.walkers[0];
  assert.deepEqual([placeAt(w, 4).point, placeAt(w, 6).x, placeAt(w, 6).z], [2, 40, 20]);
});

test('a malformed timeline is refused with a text naming what is wrong', () => {
  const key = [0, 0, 0, 0, 1, 'walking'];
  const cases = [
    { answer: { walkers: [] }, error: 'the timeline answer has no positive "seconds"' },
    { answer: { seconds: 0, walkers: [] }, error: 'the timeline answer has no positive "seconds"' },
    { answer: { seconds: 9 }, error: 'the timeline answer has no "walkers" list' },
    { answer: { seconds: 9, walkers: [{ keys: [key] }] }, error: 'walker 0 of the timeline has no "id"' },
    { answer: { seconds: 9, walkers: [{ id: 'a', keys: [] }] }, error: 'the walker "a" of the timeline has no "keys"' },
    { answer: { seconds: 9, walkers: [{ id: 'a', keys: [[0, 0, 0, 1, 'walking']] }] },
      error: 'key 0 of "a" is not [seconds, x, y, z, point, motion]' },
    { answer: { seconds: 9, walkers: [{ id: 'a', keys: [[0, 0, 'y', 0, 1, 'walking']] }] },
      error: 'key 0 of "a" is not [seconds, x, y, z, point, motion]' },
    { answer: { seconds: 9, walkers: [{ id: 'a', keys: [[0, 0, 0, 0, 1, 'running']] }] },
      error: 'key 0 of "a" has the motion "running", not walking, pausing or arrived' },
    { answer: { seconds: 9, walkers: [{ id: 'a', keys: [[2, 0, 0, 0, 1, 'walking'], [1, 0, 0, 0, 1, 'arrived']] }] },
      error: 'key 1 of "a" is earlier than the key before it' },
    { answer: { seconds: 9, walkers: [], standing: [{ id: 's' }] }, error: 'a standing actor of the timeline lacks "id" or "position"' },
  ];
  for (const c of cases) assert.equal(readTimeline(c.answer).error, c.error, JSON.stringify(c.answer));
});

test('playing moves the time by the page\'s clock times the speed and stops at the end', () => {
  const cases = [
    { time: 0, ms: 16, speed: 1, next: 0.016 },
    { time: 10, ms: 500, speed: 16, next: 18 },
    { time: 599, ms: 1000, speed: 4, next: 600 },
  ];
  for (const c of cases) assert.equal(advance(c.time, c.ms, c.speed, 600), c.next, JSON.stringify(c));
});

test('meetings are the findings naming another actor, earliest first, each with its line', () => {
  const read = readMeetings({ findings: [
    { level: 'warning', id: 'stray', text: 'the mode "circle" is not "once", "loop" or "back_and_forth": the game walks it as "once"' },
    { level: 'warning', id: 'a', point: 1, other: 'b', seconds: 4.4, at: { x: 200, y: 100, z: 0 }, times: 1,
      text: 'meets "b" at (200, 100, 0) after 4.4 s' },
    { level: 'warning', id: 'guard', point: 2, other: 'bench_ym1', seconds: 1.5, at: [10, 0, -20], times: 3,
      text: 'walks through "bench_ym1" at (10, 0, -20) after 1.5 s' },
  ] });
  assert.equal(read.ok, true, read.error);
  assert.deepEqual(read.value!.map((m) => [m.id, m.other, m.point, m.seconds, m.at, m.times]), [
    ['guard', 'bench_ym1', 2, 1.5, { x: 10, y: 0, z: -20 }, 3],
    ['a', 'b', 1, 4.4, { x: 200, y: 100, z: 0 }, 1],
  ]);
  assert.deepEqual(read.value!.map(meetingLine), [
    'guard walks through "bench_ym1" at (10, 0, -20) after 1.5 s (3 times)',
    'a meets "b" at (200, 100, 0) after 4.4 s',
  ]);
  assert.equal(readMeetings({ counts: {} }).error, 'the check_package answer has no "findings" list');
  assert.equal(readMeetings({ findings: [{ other: 'b', seconds: 1 }] }).error, 'a meeting finding with "b" lacks "id" or "text"');
});

test('a label overlapping one shown before it is hidden; labels apart are all shown', () => {
  const box = (x: number, y: number, width = 60) => ({ x, y, width, height: 14 });
  const cases = [
    { name: 'apart', boxes: [box(0, 0), box(0, 20), box(100, 0)], order: [0, 1, 2], shown: [true, true, true] },
    { name: 'the bench: three on one spot', boxes: [box(0, 0), box(2, 3), box(4, 6)], order: [0, 1, 2], shown: [true, false, false] },
    { name: 'the selected one first', boxes: [box(0, 0), box(2, 3)], order: [1, 0], shown: [false, true] },
    { name: 'touching edges do not overlap', boxes: [box(0, 0), box(60, 0), box(0, 14)], order: [0, 1, 2], shown: [true, true, true] },
    { name: 'a long label reaches a far one', boxes: [box(0, 0, 300), box(250, 5)], order: [0, 1], shown: [true, false] },
    { name: 'hidden ones do not hide others', boxes: [box(0, 0), box(50, 0), box(100, 0)], order: [0, 1, 2], shown: [true, false, true] },
  ];
  for (const c of cases) assert.deepEqual(labelsThatFit(c.boxes, c.order), c.shown, c.name);
});
