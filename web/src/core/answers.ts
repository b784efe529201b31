// Reading what the server's answers say besides their result: the warnings any command's result may
// carry, whether a refusal means the package file was changed outside the editor, what `status` says
// about such a package, and what a `reload` set aside. Plain functions over parsed JSON; no DOM.

// An answer's warnings ({"warnings": ["unknown parameter \"speeed\""]}); none when absent or malformed.
export function readWarnings(result: unknown): string[] {
  const warnings = (result as { warnings?: unknown } | null)?.warnings;
  return Array.isArray(warnings) ? warnings.filter((w): w is string => typeof w === 'string' && w !== '') : [];
}

// Whether a refusal's text is the store's "package "NAME" was changed outside the editor: reload it
// before editing" (or any refusal that names such a change), so that the page offers a reload.
export function changedOutside(error: string): boolean {
  return /changed outside the editor/.test(error);
}

export interface Outside { problem: string; waiting: string[] }

// The `status` answer's entry for `pkg` in "conflicts" ([{"package", "problem", "waiting": [labels]}]):
// the package file changed outside while changes waited to be saved. Null when `pkg` has none.
export function readConflict(status: unknown, pkg: string): Outside | null {
  const conflicts = (status as { conflicts?: unknown } | null)?.conflicts;
  if (!Array.isArray(conflicts)) return null;
  const entry = conflicts.find((c) => (c as { package?: unknown })?.package === pkg) as Record<string, unknown> | undefined;
  if (!entry) return null;
  const waiting = Array.isArray(entry.waiting) ? entry.waiting.filter((w): w is string => typeof w === 'string') : [];
  const problem = typeof entry.problem === 'string' ? entry.problem : 'changed outside the editor';
  return { problem, waiting };
}

// What a `reload` answer ({"discarded"?: [labels], "kept_in"?: path, ...}) tells the modder.
export function reloadNote(pkg: string, result: unknown): string {
  const r = (result ?? {}) as { discarded?: unknown; kept_in?: unknown };
  const discarded = Array.isArray(r.discarded) ? r.discarded.filter((d): d is string => typeof d === 'string') : [];
  if (discarded.length === 0) return `Reloaded ${pkg} from its file; no waiting change was set aside`;
  const where = typeof r.kept_in === 'string' ? ` (kept in ${r.kept_in})` : '';
  return `Reloaded ${pkg} from its file; set aside: ${discarded.join('; ')}${where}`;
}

export interface EditAnswer { point: number | null; snapNote: string; routeRemoved: boolean }

// What a route command's result says the page acts on ({"point"?, "snap_note"?, "route_removed"?, ...}):
// the point added or moved, the note when snapping found no ground, whether the route went with its last
// points. A result without them (set_route, undo) reads as none of them.
export function readEdit(result: unknown): EditAnswer {
  const r = (result ?? {}) as { point?: unknown; snap_note?: unknown; route_removed?: unknown };
  return { point: typeof r.point === 'number' ? r.point : null, snapNote: typeof r.snap_note === 'string' ? r.snap_note : '',
    routeRemoved: r.route_removed === true };
}

// The `ground_point` answer: {"position": {"x","y","z"}, "snap_note"?}; the height the ground gives, or the
// note why there is none.
export function readGroundPoint(result: unknown): { y: number | null; note: string } {
  const r = (result ?? {}) as { position?: { y?: unknown }; snap_note?: unknown };
  if (typeof r.snap_note === 'string' && r.snap_note !== '') return { y: null, note: r.snap_note };
  const y = r.position?.y;
  return typeof y === 'number' ? { y, note: '' } : { y: null, note: 'the ground_point answer has no "position"' };
}

// The `packages` answer: {"packages": [{"name", ...}]}: the names, in the store's order.
export function readPackages(result: unknown): string[] {
  const list = (result as { packages?: unknown } | null)?.packages;
  if (!Array.isArray(list)) return [];
  return list.map((p) => (p as { name?: unknown } | null)?.name).filter((n): n is string => typeof n === 'string');
}
