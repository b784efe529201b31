// Reading the server's events (the /events stream: "game", "change", "live", "reload") into typed values,
// like every other answer. Plain functions over parsed JSON; no DOM. Single-threaded.

import type { Vec3 } from './model.js';
import { readVec3 } from './model.js';

export interface Bounds { low: Vec3; high: Vec3 }
export type PageEvent =
  | { name: 'game'; connected: boolean; bounds: Bounds | null; problem: string } // problem: '' when connected
  | { name: 'change'; package: string; kind: string; label: string }
  | { name: 'live'; package: string; actors: { id: string; position: Vec3 }[] }
  | { name: 'reload' };

function isObject(v: unknown): v is Record<string, unknown> {
  return typeof v === 'object' && v !== null && !Array.isArray(v);
}

const NO_GAME = 'no game is connected'; // the game event's problem when it names none

// One event of the stream; null for an event the page does not know or one that lacks what it needs
// (the page then leaves the map as it is).
export function readEvent(name: string, data: unknown): PageEvent | null {
  const d = isObject(data) ? data : {};
  if (name === 'game') {
    const low = isObject(d.bounds) ? readVec3(d.bounds.low) : null;
    const high = isObject(d.bounds) ? readVec3(d.bounds.high) : null;
    const connected = d.connected === true;
    const problem = connected ? '' : typeof d.problem === 'string' ? d.problem : NO_GAME;
    return { name, connected, bounds: low && high ? { low, high } : null, problem };
  }
  if (typeof d.package !== 'string') return name === 'reload' ? { name } : null;
  if (name === 'change') {
    return { name, package: d.package, kind: typeof d.kind === 'string' ? d.kind : '', label: typeof d.label === 'string' ? d.label : '' };
  }
  if (name === 'live') {
    if (!Array.isArray(d.actors)) return null;
    const actors: { id: string; position: Vec3 }[] = [];
    for (const a of d.actors) {
      const position = isObject(a) && typeof a.id === 'string' ? readVec3(a.position) : null;
      if (isObject(a) && typeof a.id === 'string' && position) actors.push({ id: a.id, position });
    }
    return { name, package: d.package, actors };
  }
  return name === 'reload' ? { name } : null;
}
