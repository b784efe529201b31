// Fetching a package's actors through placed_actors: every actor a page at a time without routes (a
// big package's document is tens of megabytes; its positions a few), and one actor's route when it is
// selected. Holds no state; single-threaded.

import { rpc } from './api.js';
import type { Outcome, Route } from '../core/model.js';
import type { Listed } from '../core/listing.js';
import { readListingPage } from '../core/listing.js';

const PAGE_ACTORS = 10000; // actors per request: the server's largest page

// Every actor of `pkg` with its position, in the package's order; routes are null.
export async function fetchActors(pkg: string): Promise<Outcome<Listed[]>> {
  const all: Listed[] = [];
  for (let start: number | null = 0; start !== null;) {
    const answer = await rpc('placed_actors', { package: pkg, start, limit: PAGE_ACTORS, routes: false });
    const page = answer.ok ? readListingPage(answer.result) : { ok: false, error: answer.error, value: undefined };
    if (!page.ok || !page.value) return { ok: false, error: page.error };
    for (const actor of page.value.actors) all.push(actor);
    start = page.value.next;
  }
  return { ok: true, value: all, error: '' };
}

// The route of the first actor of `pkg` with id `id`: null when it has none.
export async function fetchRoute(pkg: string, id: string): Promise<Outcome<Route | null>> {
  const answer = await rpc('placed_actors', { package: pkg, id, limit: 1 });
  const page = answer.ok ? readListingPage(answer.result) : { ok: false, error: answer.error, value: undefined };
  if (!page.ok || !page.value) return { ok: false, error: page.error };
  if (page.value.actors.length === 0) return { ok: false, error: `there is no actor "${id}" in "${pkg}"` };
  return { ok: true, value: page.value.actors[0].placed.route, error: '' };
}
