// The page's typed core: world <-> map coordinates, reading the server's answers, and what to draw for
// a route. Plain functions without the browser, so they are tested under node; the page (ui/main.ts) owns
// all drawing and state. Single-threaded like every page script.

export interface Vec3 { x: number; y: number; z: number }
export type Walker = 'resident' | 'patroller' | 'model' | 'none';
export interface ActorInfo { id: string; type: string; walker: Walker; refusal?: string }
export interface Route { mode: string; points: Vec3[]; speed?: number; pauses?: number | boolean; walk?: string; idle?: string }
export interface Placed { id: string; position: Vec3 | null; route: Route | null }
export interface Segment { from: number; to: number; ok: boolean; at?: Vec3; problem?: string }
export interface Sample { distance: number; height: number; ground: number | null; segment: number }
export interface Profile { samples: Sample[]; length: number }
export interface Outcome<T> { ok: boolean; value?: T; error: string }

// Leaflet's simple CRS: x to the right, z downwards, so latitude is minus z.
export function worldToLatLng(p: { x: number; z: number }): [number, number] {
  return [0 - p.z, p.x]; // 0 - z: never the -0 that unary minus makes of 0
}

export function latLngToWorld(lat: number, lng: number): { x: number; z: number } {
  return { x: lng, z: 0 - lat };
}

function isObject(v: unknown): v is Record<string, unknown> {
  return typeof v === 'object' && v !== null && !Array.isArray(v);
}

export function readVec3(v: unknown): Vec3 | null {
  if (!isObject(v)) return null;
  const { x, y, z } = v;
  if (typeof x !== 'number' || typeof y !== 'number' || typeof z !== 'number') return null;
  return { x, y, z };
}

function fail<T>(error: string): Outcome<T> {
  return { ok: false, error };
}

export function readRoute(path: unknown): Route | null {
  if (!isObject(path) || !Array.isArray(path.points)) return null;
  const points = path.points.map(readVec3).filter((p): p is Vec3 => p !== null);
  const route: Route = { mode: typeof path.mode === 'string' ? path.mode : 'once', points };
  if (typeof path.speed === 'number') route.speed = path.speed;
  if (typeof path.pauses === 'number' || typeof path.pauses === 'boolean') route.pauses = path.pauses;
  if (typeof path.walk === 'string') route.walk = path.walk;
  if (typeof path.idle === 'string') route.idle = path.idle;
  return route;
}

export function readCheck(result: unknown): Outcome<Segment[]> {
  if (!isObject(result) || !Array.isArray(result.segments)) return fail('the check answer has no "segments"');
  const segments: Segment[] = [];
  for (const s of result.segments) {
    if (!isObject(s) || typeof s.from !== 'number' || typeof s.to !== 'number' || typeof s.ok !== 'boolean')
      return fail('a segment of the check answer lacks "from", "to" or "ok"');
    const seg: Segment = { from: s.from, to: s.to, ok: s.ok };
    const at = readVec3(s.at);
    if (at) seg.at = at;
    if (typeof s.problem === 'string') seg.problem = s.problem;
    segments.push(seg);
  }
  return { ok: true, value: segments, error: '' };
}

export function readProfile(result: unknown): Outcome<Profile> {
  if (!isObject(result) || !Array.isArray(result.samples) || typeof result.length !== 'number')
    return fail('the profile answer has no "samples" or "length"');
  const samples: Sample[] = [];
  for (const s of result.samples) {
    if (!isObject(s) || typeof s.distance !== 'number' || typeof s.height !== 'number')
      return fail('a sample of the profile answer lacks "distance" or "height"');
    const ground = typeof s.ground === 'number' ? s.ground : null;
    samples.push({ distance: s.distance, height: s.height, ground, segment: Number(s.segment ?? 0) });
  }
  return { ok: true, value: { samples, length: result.length }, error: '' };
}
