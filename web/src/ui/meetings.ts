// "Meetings": every meeting finding of check_package in a list beside the timeline bar, and their places
// on the map while the list is open. Choosing one shows the timeline at that time, selects the first
// actor (its route drawn for editing) and draws the other's route and the place. Owns the panel and its
// map layer; single-threaded.

import L from 'leaflet';
import { rpc } from './api.js';
import type { Placed, Walker } from '../core/model.js';
import { worldToLatLng } from '../core/model.js';
import { fetchRoute } from './loading.js';
import type { DrawnPoint } from '../core/route.js';
import { drawRoute } from '../core/route.js';
import type { TimelineBar } from './timeline.js';
import type { Meeting } from '../core/timeline.js';
import { meetingLine, readMeetings } from '../core/timeline.js';

export interface MeetingsHost {
  pkg(): string;
  select(id: string): Promise<void>; // selects the actor without bringing its route into view
  actor(id: string): { placed: Placed; walker: Walker } | null;
  say(text: string): void;
}

const PLACE_PX = 22; // a meeting place's ring: about the two actors' circles at the usual zooms
const FIT_PADDING_PX: [number, number] = [60, 60]; // around both routes of a chosen meeting
const FIT_ZOOM_MAX = 0;
const OTHER_ROUTE = { color: '#e8590c', weight: 3, dashArray: '8 5', interactive: false };

const ll = (p: { x: number; z: number }) => L.latLng(...worldToLatLng(p));

export class MeetingsPanel {
  private toggle = Object.assign(document.createElement('button'), { type: 'button', textContent: 'Meetings' });
  private panel = document.createElement('section');
  private list = document.createElement('ul');
  private note = document.createElement('p');
  private places = L.layerGroup();
  private route = L.layerGroup(); // the other actor's route of the chosen meeting
  private meetings: Meeting[] = [];
  private chosen = -1;

  constructor(parent: HTMLElement, private map: L.Map, private timeline: TimelineBar, private host: MeetingsHost) {
    this.panel.id = 'meetings-panel';
    this.panel.hidden = true;
    this.panel.setAttribute('aria-label', 'Meetings');
    this.list.id = 'meetings-list';
    this.list.setAttribute('aria-label', 'Meetings');
    this.note.setAttribute('role', 'status');
    const title = Object.assign(document.createElement('h2'), { textContent: 'Meetings' });
    this.panel.append(title, this.note, this.list);
    this.toggle.setAttribute('aria-expanded', 'false');
    this.toggle.setAttribute('aria-controls', this.panel.id);
    this.toggle.addEventListener('click', () => void this.open(this.panel.hidden));
    timeline.bar.append(this.toggle);
    parent.append(this.panel);
  }

  // A change anywhere may add or remove meetings: an open list is asked for again.
  async packageChanged(): Promise<void> {
    if (!this.panel.hidden) await this.load();
  }

  private async open(open: boolean): Promise<void> {
    this.panel.hidden = !open;
    this.toggle.setAttribute('aria-expanded', String(open));
    if (!open) return void (this.places.remove(), this.route.clearLayers().remove());
    this.places.addTo(this.map);
    this.route.addTo(this.map);
    await this.load();
  }

  private async load(): Promise<void> {
    this.note.textContent = 'Looking for meetings…';
    const answer = await rpc('check_package', { package: this.host.pkg() });
    const read = answer.ok ? readMeetings(answer.result) : { ok: false, error: answer.error, value: undefined };
    if (!read.ok || !read.value) return void (this.note.textContent = `No meetings: ${read.error}`);
    const before = this.meetings[this.chosen];
    this.meetings = read.value;
    this.chosen = before ? this.meetings.findIndex((m) => m.id === before.id && m.other === before.other) : -1;
    const count = this.meetings.length;
    this.note.textContent = count === 0 ? 'No actors meet within the timeline.' : `${count} meeting${count > 1 ? 's' : ''}, earliest first`;
    this.drawList();
    this.drawPlaces();
  }

  private drawList(): void {
    this.list.replaceChildren();
    this.meetings.forEach((m, k) => {
      const button = Object.assign(document.createElement('button'), { type: 'button', textContent: meetingLine(m) });
      button.dataset.meeting = `${m.id} ${m.other}`;
      button.setAttribute('aria-current', String(k === this.chosen));
      button.addEventListener('click', () => void this.choose(k));
      const item = document.createElement('li');
      item.append(button);
      this.list.append(item);
    });
  }

  private drawPlaces(): void {
    this.places.clearLayers();
    this.meetings.forEach((m, k) => {
      if (!m.at) return;
      const mark = L.marker(ll(m.at), { title: meetingLine(m), keyboard: false, zIndexOffset: k === this.chosen ? 1000 : 0,
        icon: L.divIcon({ className: `meeting-mark${k === this.chosen ? ' chosen' : ''}`, iconSize: [PLACE_PX, PLACE_PX] }) });
      mark.on('click', () => void this.choose(k));
      mark.on('add', () => mark.getElement()?.setAttribute('data-meeting-place', `${m.id} ${m.other}`));
      mark.addTo(this.places);
    });
  }

  // The meeting's time on the timeline, the first actor selected, the other's route and the place.
  private async choose(k: number): Promise<void> {
    const m = this.meetings[k];
    this.chosen = k;
    this.drawList();
    this.drawPlaces();
    if (!(await this.timeline.setTime(m.seconds))) return;
    await this.host.select(m.id);
    const other = await this.drawOther(m.other);
    const first = this.host.actor(m.id);
    const spots = [...(first ? drawRoute(first.placed, first.walker).points.map((p) => p.at) : []),
      ...other.map((p) => p.at), ...(m.at ? [m.at] : [])];
    if (spots.length > 0) this.map.fitBounds(L.latLngBounds(spots.map(ll)), { padding: FIT_PADDING_PX, maxZoom: FIT_ZOOM_MAX });
  }

  // The other actor's route, dashed; answers its points (none for an actor the game does not walk, whose
  // marker is the place).
  private async drawOther(id: string): Promise<DrawnPoint[]> {
    this.route.clearLayers();
    const actor = this.host.actor(id);
    const route = await fetchRoute(this.host.pkg(), id);
    if (!route.ok) return (this.host.say(route.error), []);
    if (!actor || !route.value) return actor?.placed.position ? [{ number: 0, at: actor.placed.position }] : [];
    const drawing = drawRoute({ ...actor.placed, route: route.value }, actor.walker);
    const line = L.polyline(drawing.segments.map((s) => [ll(s.a), ll(s.b)]), { ...OTHER_ROUTE, className: 'meeting-route' });
    line.addTo(this.route);
    line.getElement()?.setAttribute('data-route-of', id);
    return drawing.points;
  }
}
