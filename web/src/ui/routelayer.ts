// The selected route on the map, drawn for editing: segments in their check colours, points a modder drags
// (the segments on both sides follow live), arrows in the middle of each segment that insert a point when
// dragged, problem marks, a note beside a point, and the place the profile's cursor points at. Owns its
// Leaflet layer; reports what the modder did through `handlers` and never changes a route itself.

import L from 'leaflet';
import type { Placed, Segment, Vec3, Walker } from '../core/model.js';
import { latLngToWorld, worldToLatLng } from '../core/model.js';
import { editablePoint, insertAfter } from '../core/edit.js';
import type { Drawing } from '../core/route.js';
import { arrowFor, drawRoute } from '../core/route.js';

export interface RouteHandlers {
  selectPoint(n: number): void;
  move(n: number, to: { x: number; z: number }): void;
  insert(after: number, at: { x: number; z: number }): void;
  hover(at: { x: number; z: number } | null): void;
}

const ll = (p: { x: number; z: number }) => L.latLng(...worldToLatLng(p));
const world = (at: L.LatLng) => latLngToWorld(at.lat, at.lng);
const SEGMENT_WEIGHT_PX = 4;
const HOVER_WEIGHT_PX = 16; // an invisible wider line, so the profile follows a mouse near the route

export class RouteLayer {
  private layer = L.layerGroup();
  private cursor: L.CircleMarker | null = null;
  private lines: { from: number; to: number; line: L.Polyline }[] = [];
  drawing: Drawing = { points: [], segments: [] };
  private shown = ''; // what is drawn now: the same route is not drawn again, so a drag is never cut short
  private dragging = false; // while a point or a middle is dragged, drawing waits for the drop

  constructor(private map: L.Map, private handlers: RouteHandlers) {
    this.layer.addTo(map);
  }

  // The route as the server holds it; `note` stays beside its point (such as a snap note).
  draw(actor: Placed | null, walker: Walker, checked: Segment[], selected: number | null, editable: boolean,
       note: { point: number; text: string } | null): void {
    const shown = JSON.stringify([actor, walker, checked, selected, editable, note]);
    if (this.dragging || shown === this.shown) return;
    this.shown = shown;
    this.layer.clearLayers();
    this.lines = [];
    this.cursor = null;
    this.drawing = actor ? drawRoute(actor, walker, checked) : { points: [], segments: [] };
    if (!actor) return;
    for (const s of this.drawing.segments) this.drawSegment(s, editable);
    for (const p of this.drawing.points) this.drawPoint(actor.id, p.number, p.at, p.number === selected, editable);
    for (const s of checked) if (!s.ok && s.at) this.drawProblem(s, s.at);
    if (note) this.noteAt(note.point, note.text);
  }

  private drawSegment(s: Drawing['segments'][number], editable: boolean): void {
    const colour = s.ok === null ? '#2f6fdf' : s.ok ? '#2a9d4b' : '#d12f2f';
    const line = L.polyline([ll(s.a), ll(s.b)], { color: colour, weight: SEGMENT_WEIGHT_PX, className: `segment ok-${s.ok}` });
    this.lines.push({ from: s.from, to: s.to, line: line.addTo(this.layer) });
    const hover = L.polyline([ll(s.a), ll(s.b)], { opacity: 0, weight: HOVER_WEIGHT_PX }).addTo(this.layer);
    hover.on('mousemove', (e: L.LeafletMouseEvent) => this.handlers.hover(world(e.latlng)));
    hover.on('mouseout', () => this.handlers.hover(null));
    const arrow = arrowFor(s);
    const handle = L.marker(ll(arrow.at), {
      draggable: editable, keyboard: false, title: editable ? `drag to insert a point after point ${s.from}` : '',
      icon: L.divIcon({ className: `arrow${editable ? ' midpoint' : ''}`, iconSize: [16, 16],
        html: `<span style="transform: rotate(${arrow.degrees}deg)">➤</span>` }),
    }).addTo(this.layer);
    handle.getElement()?.setAttribute('data-insert-after', String(insertAfter(s)));
    if (!editable) return;
    const live = L.polyline([], { color: '#2f6fdf', weight: 2, dashArray: '6 4', interactive: false });
    handle.on('dragstart', () => ((this.dragging = true), live.addTo(this.layer)));
    handle.on('drag', () => live.setLatLngs([ll(s.a), handle.getLatLng(), ll(s.b)]));
    handle.on('dragend', () => this.dropped(() => this.handlers.insert(insertAfter(s), world(handle.getLatLng()))));
  }

  private drawPoint(id: string, n: number, at: Vec3, selected: boolean, editable: boolean): void {
    const draggable = editable && editablePoint(n);
    const m = L.marker(ll(at), {
      draggable, keyboard: false, title: n === 0 ? `${id}'s own position (point 0)` : `point ${n} of ${id}`,
      icon: L.divIcon({ className: `point${selected ? ' selected-point' : ''}`, iconSize: [20, 20], html: `${n}` }),
    }).addTo(this.layer);
    m.getElement()?.setAttribute('data-point', String(n));
    m.on('click', () => this.handlers.selectPoint(n));
    if (!draggable) return;
    m.on('dragstart', () => (this.dragging = true));
    m.on('drag', () => {
      for (const l of this.lines) {
        const [a, b] = l.line.getLatLngs() as L.LatLng[];
        if (l.from === n) l.line.setLatLngs([m.getLatLng(), b]);
        if (l.to === n) l.line.setLatLngs([a, m.getLatLng()]);
      }
    });
    m.on('dragend', () => this.dropped(() => this.handlers.move(n, world(m.getLatLng()))));
  }

  // After a drop the route is drawn again whatever happens, so a refused drop puts the point back.
  private dropped(report: () => void): void {
    this.dragging = false;
    this.shown = '';
    report();
  }

  private drawProblem(s: Segment, at: Vec3): void {
    const text = `${s.from}→${s.to}: ${s.problem ?? 'not ok'}`;
    const m = L.marker(ll(at), { title: text, icon: L.divIcon({ className: 'problem', iconSize: [18, 18], html: '!' }) })
      .addTo(this.layer);
    m.bindTooltip(text, { permanent: true, direction: 'bottom', offset: [0, 8], className: 'problem-text' });
    m.getElement()?.setAttribute('data-problem', s.problem ?? '');
  }

  private noteAt(n: number, text: string): void {
    const p = this.drawing.points.find((q) => q.number === n);
    if (!p) return;
    L.tooltip({ permanent: true, direction: 'right', offset: [12, 0], className: 'snap-note' })
      .setLatLng(ll(p.at)).setContent(text).addTo(this.layer);
  }

  // The place on the route that the profile's cursor is at; null hides it.
  showCursor(at: { x: number; z: number } | null): void {
    if (!at) return void (this.cursor?.remove(), (this.cursor = null));
    if (!this.cursor) {
      this.cursor = L.circleMarker(ll(at), { radius: 7, color: '#ff8c00', weight: 3, fill: false, interactive: false,
        className: 'profile-cursor' }).addTo(this.layer);
    } else {
      this.cursor.setLatLng(ll(at));
    }
  }
}
