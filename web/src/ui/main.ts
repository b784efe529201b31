// The map page: opens the session, loads the package's actors and routes, keeps them current from the
// server's events, and wires the list, the route details, "Check route", the profile chart and the editing
// (editing.ts). Owns the page's state; single-threaded.

import 'leaflet/dist/leaflet.css';
import 'uplot/dist/uPlot.min.css';
import { listen, openSession, rpc } from './api.js';
import { readPackages } from '../core/answers.js';
import { readEvent } from '../core/events.js';
import type { ActorInfo, Placed, Segment } from '../core/model.js';
import { readCheck, readProfile } from '../core/model.js';
import { Editing } from './editing.js';
import { searchActors } from '../core/listing.js';
import { fetchActors, fetchRoute } from './loading.js';
import { MapView, escapeHtml } from './mapview.js';
import { OutsideBanner } from './outside.js';
import { MeetingsPanel } from './meetings.js';
import { ProfileChart } from './profile.js';
import { describeSettings, drawRoute, problemDistances } from '../core/route.js';
import { TimelineBar } from './timeline.js';

const LIST_MAX = 200; // buttons in the actor list at most; the search narrows a bigger package

const $ = (id: string) => document.getElementById(id) as HTMLElement;
const state = { pkg: '', infos: [] as ActorInfo[], placed: [] as Placed[], selected: '', checked: [] as Segment[] };
let view: MapView;
let chart: ProfileChart;
let editing: Editing;
let outside: OutsideBanner;
let timeline: TimelineBar;
let meetings: MeetingsPanel;
let loading: Promise<void> | null = null;
let loadAgain: Promise<void> | null = null;

// Every load of the package goes through here: one fetch at a time, and every request made while one is
// under way shares one more fetch after it, so changes in a burst fetch the package once after the fetch
// under way. The answer settles once a fetch begun after the request has drawn. No timer: a background
// tab's timers are slowed to a second or more, and a change must show within a second on every open page.
function reload(): Promise<void> {
  if (!loading) return (loading = loadPackage().finally(() => (loading = null)));
  loadAgain ??= loading.catch(() => {}).then(() => ((loadAgain = null), reload()));
  return loadAgain;
}

// The selected actor's place and route, and its listing; nulls while none is selected.
function selected(): { actor: Placed | null; info: ActorInfo | null } {
  return { actor: state.placed.find((p) => p.id === state.selected) ?? null,
    info: state.infos.find((i) => i.id === state.selected) ?? null };
}

function say(text: string): void {
  $('message').textContent = text;
}

// Every actor's position, a page at a time; routes come one at a time, for the selected actor.
// The new listing replaces the old one only once the selected actor's route is in it, so no drawing in
// between (another load, an edit's answer) ever meets the selected actor without its route.
async function loadPackage(): Promise<void> {
  const listed = await fetchActors(state.pkg); // through reload() only
  if (!listed.ok || !listed.value) return say(listed.error);
  const placed = listed.value.map((l) => l.placed);
  const fetched = state.selected;
  if (fetched) {
    const route = await fetchRoute(state.pkg, fetched);
    const actor = placed.find((p) => p.id === fetched);
    if (!route.ok) say(route.error);
    else if (actor) actor.route = route.value ?? null;
  }
  // Selected meanwhile: that actor keeps the route its selection fetched.
  const kept = selected().actor;
  const fresh = placed.find((p) => p.id === state.selected);
  if (state.selected !== fetched && kept && fresh) fresh.route = kept.route;
  state.infos = listed.value.map((l) => l.info);
  state.placed = placed;
  view.showActors(state.infos, state.placed);
  drawList();
  drawSelection();
  // Not waited for: the next fetch of the package (a change made elsewhere) must never queue behind a
  // check or a profile that asks the game.
  void editing.loaded();
  void redrawCheck();
  void timeline.packageChanged();
  void meetings.packageChanged();
}

// After a change the check, when one is shown, and the profile follow the route as it is now.
async function redrawCheck(): Promise<void> {
  if (!state.selected) return;
  if (state.checked.length > 0) return checkRoute();
  return drawProfile();
}

// The route of `id` into its entry of state.placed. False (and said) when it cannot be fetched.
async function loadRoute(id: string): Promise<boolean> {
  const route = await fetchRoute(state.pkg, id);
  const actor = state.placed.find((p) => p.id === id);
  if (!route.ok || !actor) return (say(route.error), false);
  actor.route = route.value ?? null;
  return true;
}

function drawList(): void {
  const list = $('actor-list');
  const found = searchActors(state.infos, ($('search') as HTMLInputElement).value, LIST_MAX);
  list.replaceChildren();
  for (const info of found.shown) {
    const item = document.createElement('li');
    const button = document.createElement('button');
    button.className = `walker-${info.walker}${info.id === state.selected ? ' selected' : ''}`;
    button.dataset.listActor = info.id;
    button.innerHTML = `<span class="dot"></span>${escapeHtml(info.id)} <small>${escapeHtml(info.walker)}</small>`;
    button.title = info.refusal ?? `${info.type}, ${info.walker}`;
    button.setAttribute('aria-label', `Select ${info.id}`);
    button.addEventListener('click', () => void select(info.id));
    item.append(button);
    list.append(item);
  }
  if (found.more > 0) {
    const item = document.createElement('li');
    item.className = 'more';
    item.textContent = `${found.more} more: narrow the search`;
    list.append(item);
  }
}

// `focus`: bring its route into view (a meeting frames both actors' routes itself).
async function select(id: string, focus = true): Promise<void> {
  if (state.selected !== id) state.checked = [];
  state.selected = id;
  if (!(await loadRoute(id)) || state.selected !== id) return;
  const { actor } = selected();
  if (actor && focus) view.focus(actor);
  drawList();
  drawSelection();
  void editing.actorSelected();
  void drawProfile();
}

function drawSelection(): void {
  const { actor, info } = selected();
  $('details').hidden = !actor;
  view.showRoute(actor);
  editing.draw();
  if (!actor || !info) return;
  $('details-title').textContent = actor.id;
  $('details-walker').textContent = info.refusal ? `${info.walker}: ${info.refusal}` : info.walker;
  $('details-settings').textContent = describeSettings(actor);
  const problems = $('problems');
  problems.replaceChildren();
  for (const s of state.checked) {
    const li = document.createElement('li');
    li.className = s.ok ? 'ok' : 'not-ok';
    li.textContent = `${s.from} → ${s.to}: ${s.ok ? 'ok' : s.problem ?? 'not ok'}`;
    problems.append(li);
  }
}

async function checkRoute(): Promise<void> {
  const answer = await rpc('check_route', { package: state.pkg, id: state.selected });
  const read = answer.ok ? readCheck(answer.result) : { ok: false, error: answer.error, value: undefined };
  if (!read.ok || !read.value) return say(`Check route: ${read.error}`);
  state.checked = read.value;
  const bad = read.value.filter((s) => !s.ok).length;
  say(bad ? `${bad} problem${bad > 1 ? 's' : ''} on the route of ${state.selected}` : `the route of ${state.selected} is ok`);
  drawSelection();
  await drawProfile();
}

async function drawProfile(): Promise<void> {
  const box = $('profile');
  const answer = await rpc('route_profile', { package: state.pkg, id: state.selected });
  const read = answer.ok ? readProfile(answer.result) : { ok: false, error: answer.error, value: undefined };
  if (!read.ok || !read.value) {
    chart.clear();
    box.dataset.state = 'none';
    $('profile-note').textContent = `No profile: ${read.error}`;
    return;
  }
  $('profile-note').textContent = '';
  box.dataset.state = 'drawn';
  const { actor, info } = selected();
  if (!actor) return;
  const problems = problemDistances(drawRoute(actor, info?.walker ?? 'none', state.checked), state.checked);
  chart.draw(read.value, problems.map((p) => p.distance));
}

function onEvent(name: string, data: unknown): void {
  const e = readEvent(name, data);
  if (e?.name === 'game') {
    view.showGround(e.connected, e.bounds ?? undefined);
    editing.setGround(e.connected, e.bounds ?? undefined);
    $('ground-note').hidden = e.connected;
    $('ground-note').textContent = e.connected ? '' : `The ground is unknown: ${e.problem}`;
  } else if (e?.name === 'change' && e.package === state.pkg) {
    say(`${e.kind}: ${e.label}`);
    if (e.kind === 'reload') outside.reloadedElsewhere();
    void reload();
  } else if (e?.name === 'live' && e.package === state.pkg && !timeline.active) {
    view.live(e.actors);
  } else if (e?.name === 'reload') {
    void reload();
  }
}

async function start(): Promise<void> {
  view = new MapView($('map'), $('cursor'));
  view.onSelect = (id) => void select(id);
  chart = new ProfileChart($('profile'));
  editing = new Editing(view.map, {
    pkg: () => state.pkg,
    selected: () => ({ ...selected(), checked: state.checked }),
    reload,
    checkRoute,
    say,
    refused: (error) => void outside.refused(error),
  }, chart);
  outside = new OutsideBanner(() => state.pkg, reload);
  timeline = new TimelineBar($('map').parentElement!, view, {
    pkg: () => state.pkg,
    showLive: () => view.showActors(state.infos, state.placed),
    say,
  });
  meetings = new MeetingsPanel($('map').parentElement!, view.map, timeline, {
    pkg: () => state.pkg,
    select: (id) => select(id, false),
    actor: (id) => {
      const placed = state.placed.find((p) => p.id === id);
      return placed ? { placed, walker: state.infos.find((i) => i.id === id)?.walker ?? 'none' } : null;
    },
    say,
  });
  $('search').addEventListener('input', drawList);
  $('check').addEventListener('click', () => void checkRoute());
  const session = await openSession();
  if (!session.ok) return say(session.error);
  const packages = await rpc('packages');
  const names = packages.ok ? readPackages(packages.result) : [];
  if (!packages.ok || names.length === 0) return say(packages.error || 'the store has no package');
  state.pkg = names[0];
  $('package').textContent = state.pkg;
  listen(state.pkg, onEvent);
  await reload();
  await outside.check();
  document.body.dataset.ready = 'true';
}

void start();
