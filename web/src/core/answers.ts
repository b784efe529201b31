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
