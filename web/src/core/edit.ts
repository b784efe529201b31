// The typed core of editing on the map: what a drag or a key means as a route command, reading the
// answers editing needs (history, route_fields), and the walk's distance <-> map position for the profile.
// Plain functions without the browser, tested under node; editing.ts owns the state. Single-threaded.

import type { Drawing, DrawnSegment } from './route.js';

export interface HistoryEntry { label: string; time: string; undone: boolean }
export interface FieldRule { maySet: boolean; refusal: string }
export type FieldName = 'mode' | 'speed' | 'pauses' | 'walk' | 'idle';
export const FIELD_NAMES: readonly FieldName[] = ['mode', 'speed', 'pauses', 'walk', 'idle'];
export interface Fields { refusal: string; fields: Record<FieldName, FieldRule> }

function isObject(v: unknown): v is Record<string, unknown> {
  return typeof v === 'object' && v !== null && !Array.isArray(v);
}

// The `history` answer: {"changes":[{"label","time","undone"}]}, oldest first.
export function readHistory(result: unknown): HistoryEntry[] | null {
  if (!isObject(result) || !Array.isArray(result.changes)) return null;
  const entries: HistoryEntry[] = [];
  for (const c of result.changes) {
    if (!isObject(c) || typeof c.label !== 'string') return null;
    entries.push({ label: c.label, time: typeof c.time === 'string' ? c.time : '', undone: c.undone === true });
  }
  return entries;
}

// What Undo and Redo would do next: the newest applied change, and the oldest undone one.
export function nextUndoRedo(entries: HistoryEntry[]): { undo: string | null; redo: string | null } {
  const applied = entries.filter((e) => !e.undone);
  const undone = entries.find((e) => e.undone);
  return { undo: applied.length ? applied[applied.length - 1].label : null, redo: undone ? undone.label : null };
}

// The `route_fields` answer: {"fields":{NAME:{"may_set","refusal"?}},"refusal"?}. A field the answer
// lacks counts as refused, with the reason that the server did not say.
export function readFields(result: unknown): Fields | null {
  if (!isObject(result) || !isObject(result.fields)) return null;
  const fields = {} as Record<FieldName, FieldRule>;
  for (const name of FIELD_NAMES) {
    const f = result.fields[name];
    fields[name] = isObject(f)
      ? { maySet: f.may_set === true, refusal: typeof f.refusal === 'string' ? f.refusal : '' }
      : { maySet: false, refusal: `the server did not say whether "${name}" may be set` };
  }
  return { refusal: typeof result.refusal === 'string' ? result.refusal : '', fields };
}

// Points a modder may drag, remove or reorder: the route's own, never a resident's position (point 0).
export function editablePoint(number: number): boolean {
  return number >= 1;
}

// Dragging the middle of a segment inserts a point right after the segment's first point; the closing
// segment of a loop inserts after the last point.
export function insertAfter(segment: Pick<DrawnSegment, 'from'>): number {
  return segment.from;
}

// The point chosen after `removed` went from a route that now has `left` points: the one before it.
export function selectionAfterRemoval(removed: number, left: number): number | null {
  if (left === 0) return null;
  return Math.min(Math.max(1, removed - 1), left);
}

// Reordering by keyboard: the selected point one place earlier (-1) or later (+1), or null at an end.
export function stepReorder(point: number, by: -1 | 1, count: number): { point: number; to: number } | null {
  const to = point + by;
  return to >= 1 && to <= count ? { point, to } : null;
}

// The height of a point placed from the map, where only x and z are known. Snapping looks down from the
// given height, so a snapped point starts at the world's top; an unsnapped one keeps the height of the
// point it follows (or of the actor).
export function placedHeight(snap: boolean, gameKnown: boolean, top: number, previous: number): number {
  return snap && gameKnown ? top : previous;
}

const flat = (a: { x: number; z: number }, b: { x: number; z: number }) => Math.hypot(b.x - a.x, b.z - a.z);

// The map position at `distance` along the walk (the profile's horizontal distance), or null when the walk
// is empty or the distance lies beyond it.
export function alongWalk(d: Drawing, distance: number): { x: number; z: number } | null {
  let before = 0;
  for (const s of d.segments) {
    const length = flat(s.a, s.b);
    if (distance <= before + length) {
      const t = length > 0 ? Math.max(0, distance - before) / length : 0;
      return { x: s.a.x + (s.b.x - s.a.x) * t, z: s.a.z + (s.b.z - s.a.z) * t };
    }
    before += length;
  }
  return null;
}

// The distance along the walk of the place on the route nearest to `p`, and how far `p` is from it.
export function nearestOnWalk(d: Drawing, p: { x: number; z: number }): { distance: number; off: number } | null {
  let best: { distance: number; off: number } | null = null;
  let before = 0;
  for (const s of d.segments) {
    const length = flat(s.a, s.b);
    const t = length > 0
      ? Math.min(1, Math.max(0, ((p.x - s.a.x) * (s.b.x - s.a.x) + (p.z - s.a.z) * (s.b.z - s.a.z)) / length ** 2))
      : 0;
    const at = { x: s.a.x + (s.b.x - s.a.x) * t, z: s.a.z + (s.b.z - s.a.z) * t };
    const off = flat(at, p);
    if (!best || off < best.off) best = { distance: before + length * t, off };
    before += length;
  }
  return best;
}
