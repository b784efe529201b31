// The timeline's typed core: reading `package_timeline` and the meeting findings of `check_package`,
// where a walker stands at a time between its keys, the meeting list's lines, and which actor labels fit
// on the map without overlapping. Plain functions, no browser, tested under node; ui/timeline.ts draws.
// Single-threaded.

import type { Outcome, Vec3 } from './model.js';
import { readVec3 } from './model.js';

export type Motion = 'walking' | 'pausing' | 'arrived';
const MOTIONS: readonly Motion[] = ['walking', 'pausing', 'arrived'];

// One walker's keys as columns: key k is at time times[k] at (xs[k], ys[k], zs[k]), walking to (or
// standing at) points[k], doing motions[k] until key k + 1. Times never decrease.
export interface WalkerKeys {
  id: string;
  times: Float64Array;
  xs: Float64Array;
  ys: Float64Array;
  zs: Float64Array;
  points: Int32Array;
  motions: Motion[];
}

export interface Timeline { seconds: number; walkers: WalkerKeys[]; standing: { id: string; position: Vec3 }[] }
export interface Place { x: number; y: number; z: number; point: number; motion: Motion }

function isObject(v: unknown): v is Record<string, unknown> {
  return typeof v === 'object' && v !== null && !Array.isArray(v);
}

const fail = <T>(error: string): Outcome<T> => ({ ok: false, error });

// One walker of the answer: {"id", "keys": [[t, x, y, z, point, motion], ...]}, at least one key.
function readWalker(w: unknown, n: number): Outcome<WalkerKeys> {
  if (!isObject(w) || typeof w.id !== 'string') return fail(`walker ${n} of the timeline has no "id"`);
  if (!Array.isArray(w.keys) || w.keys.length === 0) return fail(`the walker "${w.id}" of the timeline has no "keys"`);
  const count = w.keys.length;
  const keys: WalkerKeys = { id: w.id, times: new Float64Array(count), xs: new Float64Array(count), ys: new Float64Array(count),
    zs: new Float64Array(count), points: new Int32Array(count), motions: [] };
  for (let k = 0; k < count; ++k) {
    const key = w.keys[k];
    const where = `key ${k} of "${w.id}"`;
    if (!Array.isArray(key) || key.length !== 6 || !key.slice(0, 5).every((v) => typeof v === 'number' && Number.isFinite(v)))
      return fail(`${where} is not [seconds, x, y, z, point, motion]`);
    if (!MOTIONS.includes(key[5])) return fail(`${where} has the motion ${JSON.stringify(key[5])}, not walking, pausing or arrived`);
    if (k > 0 && key[0] < keys.times[k - 1]) return fail(`${where} is earlier than the key before it`);
    keys.times[k] = key[0];
    keys.xs[k] = key[1];
    keys.ys[k] = key[2];
    keys.zs[k] = key[3];
    keys.points[k] = key[4];
    keys.motions.push(key[5]);
  }
  return { ok: true, value: keys, error: '' };
}

// The `package_timeline` answer: {"seconds", "walkers": [...], "standing": [{"id", "position"}]}.
export function readTimeline(result: unknown): Outcome<Timeline> {
  if (!isObject(result) || typeof result.seconds !== 'number' || !(result.seconds > 0))
    return fail('the timeline answer has no positive "seconds"');
  if (!Array.isArray(result.walkers)) return fail('the timeline answer has no "walkers" list');
  const walkers: WalkerKeys[] = [];
  for (let n = 0; n < result.walkers.length; ++n) {
    const read = readWalker(result.walkers[n], n);
    if (!read.ok || !read.value) return fail(read.error);
    walkers.push(read.value);
  }
  const standing: Timeline['standing'] = [];
  for (const s of Array.isArray(result.standing) ? result.standing : []) {
    const position = isObject(s) ? readVec3(s.position) : null;
    if (!isObject(s) || typeof s.id !== 'string' || !position) return fail('a standing actor of the timeline lacks "id" or "position"');
    standing.push({ id: s.id, position });
  }
  return { ok: true, value: { seconds: result.seconds, walkers, standing }, error: '' };
}

// The last key at or before `t` (0 before the first): a binary search, so a long walk costs no more.
function keyBefore(times: Float64Array, t: number): number {
  let low = 0, high = times.length - 1;
  while (low < high) {
    const mid = (low + high + 1) >> 1;
    if (times[mid] <= t) low = mid;
    else high = mid - 1;
  }
  return low;
}

// Where the walker is at `t` seconds: on the straight line between the keys around `t`; before its
// first key at that key, after its last where the last puts it.
export function placeAt(w: WalkerKeys, t: number): Place {
  const k = keyBefore(w.times, t);
  const place = { x: w.xs[k], y: w.ys[k], z: w.zs[k], point: w.points[k], motion: w.motions[k] };
  const span = k + 1 < w.times.length ? w.times[k + 1] - w.times[k] : 0;
  if (span <= 0 || t <= w.times[k]) return place;
  const f = (t - w.times[k]) / span;
  place.x += (w.xs[k + 1] - place.x) * f;
  place.y += (w.ys[k + 1] - place.y) * f;
  place.z += (w.zs[k + 1] - place.z) * f;
  return place;
}

// The next time after `time` while playing: `elapsedMs` of the page's clock at `speed`, never past the end.
export function advance(time: number, elapsedMs: number, speed: number, end: number): number {
  return Math.min(end, time + (elapsedMs / 1000) * speed);
}

export interface Meeting {
  id: string;      // the first of the two in the package's actor list; the walker for "walks through"
  other: string;
  point: number | null;
  seconds: number;
  at: Vec3 | null;
  times: number;
  text: string;
}

// A place as the check writes it: {"x","y","z"} or [x, y, z].
function readPlace(v: unknown): Vec3 | null {
  if (Array.isArray(v) && v.length === 3 && v.every((c) => typeof c === 'number')) return { x: v[0], y: v[1], z: v[2] };
  return readVec3(v);
}

// The meeting findings of a `check_package` answer (those naming an "other" actor and the "seconds" of
// the first meeting), earliest first; the other findings are left to the check's own report.
export function readMeetings(result: unknown): Outcome<Meeting[]> {
  if (!isObject(result) || !Array.isArray(result.findings)) return fail('the check_package answer has no "findings" list');
  const meetings: Meeting[] = [];
  for (const f of result.findings) {
    if (!isObject(f) || typeof f.other !== 'string' || typeof f.seconds !== 'number') continue;
    if (typeof f.id !== 'string' || typeof f.text !== 'string')
      return fail(`a meeting finding with "${f.other}" lacks "id" or "text"`);
    meetings.push({ id: f.id, other: f.other, point: typeof f.point === 'number' ? f.point : null, seconds: f.seconds,
      at: readPlace(f.at), times: typeof f.times === 'number' ? f.times : 1, text: f.text });
  }
  meetings.sort((a, b) => a.seconds - b.seconds);
  return { ok: true, value: meetings, error: '' };
}

// A meeting's line in the list: who, the check's own text, and how often when more than once.
export function meetingLine(m: Meeting): string {
  const again = m.times > 1 ? ` (${m.times} times)` : '';
  return `${m.id} ${m.text}${again}`;
}

// The time as the bar shows it: seconds with one decimal and the horizon.
export function timeText(t: number, end: number): string {
  return `${t.toFixed(1)} s of ${end} s`;
}

// A label's box on screen in pixels: left, top, width, height.
export interface LabelBox { x: number; y: number; width: number; height: number }

// Which labels to show so that none overlaps another shown one, by `order` (the first wins: the
// selected actor, then the package's order). The rest are hidden and shown on hover. Boxes are put in
// a grid of cells as tall as a label, so a few hundred labels cost a few thousand comparisons.
export function labelsThatFit(boxes: readonly LabelBox[], order: readonly number[]): boolean[] {
  const shown = new Array<boolean>(boxes.length).fill(false);
  const cell = Math.max(1, ...boxes.map((b) => b.height));
  const grid = new Map<string, number[]>();
  const cellsOf = (b: LabelBox) => {
    const keys: string[] = [];
    for (let cx = Math.floor(b.x / cell); cx <= Math.floor((b.x + b.width) / cell); ++cx)
      for (let cy = Math.floor(b.y / cell); cy <= Math.floor((b.y + b.height) / cell); ++cy) keys.push(`${cx},${cy}`);
    return keys;
  };
  const overlap = (a: LabelBox, b: LabelBox) =>
    a.x < b.x + b.width && b.x < a.x + a.width && a.y < b.y + b.height && b.y < a.y + a.height;
  for (const i of order) {
    const keys = cellsOf(boxes[i]);
    if (keys.some((k) => (grid.get(k) ?? []).some((j) => overlap(boxes[i], boxes[j])))) continue;
    shown[i] = true;
    for (const k of keys) grid.set(k, [...(grid.get(k) ?? []), i]);
  }
  return shown;
}
