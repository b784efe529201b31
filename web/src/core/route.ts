// What to draw for a route: numbered points, segments (closed for "loop"), arrows for the walking
// direction and the settings line. Plain functions over model.ts types, no browser; the page (ui/) draws them.
// Single-threaded.

import type { Placed, Segment, Vec3, Walker } from './model.js';

export interface DrawnPoint { number: number; at: Vec3 }
export interface DrawnSegment { from: number; to: number; a: Vec3; b: Vec3; ok: boolean | null }
export interface Drawing { points: DrawnPoint[]; segments: DrawnSegment[] }

// Residents and patrollers start walking from their own position (point 0); a model from its first point.
export function startsFromPosition(walker: Walker): boolean {
  return walker === 'resident' || walker === 'patroller';
}

// The walk as check_route numbers it, with each segment's check result when one is given.
export function drawRoute(actor: Placed, walker: Walker, checked: Segment[] = []): Drawing {
  const points: DrawnPoint[] = [];
  if (startsFromPosition(walker) && actor.position) points.push({ number: 0, at: actor.position });
  actor.route?.points.forEach((at, i) => points.push({ number: i + 1, at }));
  const segments: DrawnSegment[] = [];
  const pair = (a: DrawnPoint, b: DrawnPoint) => {
    const result = checked.find((s) => s.from === a.number && s.to === b.number);
    segments.push({ from: a.number, to: b.number, a: a.at, b: b.at, ok: result ? result.ok : null });
  };
  for (let i = 1; i < points.length; ++i) pair(points[i - 1], points[i]);
  if (actor.route?.mode === 'loop' && points.length > 2) pair(points[points.length - 1], points[0]);
  return { points, segments };
}

// An arrow at a segment's middle: where it sits and its heading in degrees on screen (0 = to the right,
// clockwise, as z grows downwards).
export function arrowFor(s: DrawnSegment): { at: { x: number; z: number }; degrees: number } {
  const at = { x: (s.a.x + s.b.x) / 2, z: (s.a.z + s.b.z) / 2 };
  return { at, degrees: (Math.atan2(s.b.z - s.a.z, s.b.x - s.a.x) * 180) / Math.PI };
}

export function describeSettings(actor: Placed): string {
  const r = actor.route;
  if (!r) return 'no route';
  const speed = r.speed === undefined ? 'speed: the type\'s own pace' : `speed: ${r.speed}`;
  let pauses = 'no pauses';
  if (r.pauses === true) pauses = 'pauses at every point';
  else if (typeof r.pauses === 'number' && r.pauses > 0) pauses = `pauses ${r.pauses} s at every point`;
  return `mode: ${r.mode} · ${speed} · ${pauses}`;
}

// A walker's position between two live events: a straight line from `from` to `to`, t in [0, 1].
export function between(from: Vec3, to: Vec3, t: number): Vec3 {
  const k = Math.min(1, Math.max(0, t));
  return { x: from.x + (to.x - from.x) * k, y: from.y + (to.y - from.y) * k, z: from.z + (to.z - from.z) * k };
}

// Grid spacing in world units for a zoom: about every 100 screen pixels, on 1-2-5 steps.
export const GRID_PIXELS = 100;
export function gridStep(zoom: number): number {
  const raw = GRID_PIXELS / 2 ** zoom;
  const decade = 10 ** Math.floor(Math.log10(raw));
  for (const m of [1, 2, 5]) if (m * decade >= raw) return m * decade;
  return 10 * decade;
}

// Where each problem of a check lies along the walk, in the same horizontal distance the profile uses.
export function problemDistances(d: Drawing, checked: Segment[]): { distance: number; problem: string }[] {
  const flat = (a: Vec3, b: { x: number; z: number }) => Math.hypot(b.x - a.x, b.z - a.z);
  const found: { distance: number; problem: string }[] = [];
  let before = 0;
  for (const s of d.segments) {
    const result = checked.find((c) => c.from === s.from && c.to === s.to);
    if (result && !result.ok && result.at) found.push({ distance: before + flat(s.a, result.at), problem: result.problem ?? '' });
    before += flat(s.a, s.b);
  }
  return found;
}
