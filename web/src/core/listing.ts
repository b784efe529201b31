// The package's actors as the server lists them (placed_actors, a page at a time) and what the page
// makes of them: the list's search, and which dot lies under the mouse. Plain functions over model.ts
// types, no browser, so they are tested under node. Single-threaded.

import type { ActorInfo, Outcome, Placed, Walker } from './model.js';
import { readRoute, readVec3 } from './model.js';

const WALKERS: readonly Walker[] = ['resident', 'patroller', 'model', 'none'];

export interface Listed { info: ActorInfo; placed: Placed }
export interface ListingPage { actors: Listed[]; next: number | null; total: number }

function isObject(v: unknown): v is Record<string, unknown> {
  return typeof v === 'object' && v !== null && !Array.isArray(v);
}

// The placed_actors answer: {"total", "next", "actors": [{"id", "type", "walker", "refusal"?,
// "position", "path"?}]}. An actor without "path" in the answer has route null.
export function readListingPage(result: unknown): Outcome<ListingPage> {
  if (!isObject(result) || !Array.isArray(result.actors) || typeof result.total !== 'number')
    return { ok: false, error: 'the placed_actors answer has no "actors" list or "total"' };
  if (result.next !== null && typeof result.next !== 'number')
    return { ok: false, error: 'the placed_actors answer\'s "next" is neither a number nor null' };
  const actors: Listed[] = [];
  for (const a of result.actors) {
    if (!isObject(a) || typeof a.id !== 'string') return { ok: false, error: 'an actor in the placed_actors answer has no "id"' };
    const walker = WALKERS.includes(a.walker as Walker) ? (a.walker as Walker) : 'none';
    const info: ActorInfo = { id: a.id, type: typeof a.type === 'string' ? a.type : '', walker };
    if (typeof a.refusal === 'string') info.refusal = a.refusal;
    actors.push({ info, placed: { id: a.id, position: readVec3(a.position), route: readRoute(a.path) } });
  }
  return { ok: true, value: { actors, next: result.next, total: result.total }, error: '' };
}

// The actors whose id or type holds `text` (any case), at most `max` of them in their order, and how
// many more there are: a list of 50,000 buttons would take the page seconds to build.
export function searchActors(infos: readonly ActorInfo[], text: string, max: number): { shown: ActorInfo[]; more: number } {
  const filter = text.trim().toLowerCase();
  const shown: ActorInfo[] = [];
  let more = 0;
  for (const info of infos) {
    if (filter && !info.id.toLowerCase().includes(filter) && !info.type.toLowerCase().includes(filter)) continue;
    if (shown.length < max) shown.push(info);
    else ++more;
  }
  return { shown, more };
}

// The index of the dot nearest to (px, py) within `radius`, or -1: dot i lies at (xs[i], ys[i]) in the
// same units. Dots for which `skip` answers true (drawn some other way) never count.
export function nearestDot(xs: ArrayLike<number>, ys: ArrayLike<number>, px: number, py: number, radius: number,
  skip: (i: number) => boolean = () => false): number {
  let best = -1;
  let bestSquared = radius * radius;
  for (let i = 0; i < xs.length; ++i) {
    const dx = xs[i] - px, dy = ys[i] - py;
    const squared = dx * dx + dy * dy;
    if (squared <= bestSquared && !skip(i)) (best = i), (bestSquared = squared);
  }
  return best;
}
