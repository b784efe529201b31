// Every placed actor on the map: a dot on one canvas, redrawn when the view settles, so 50,000 actors pan
// and zoom smoothly; and while few are in view (or the package is small), DOM markers instead, carrying
// the id's label, the hover text and data-actor-id, which people, assistive technology and the browser
// tests find. Owns its pane, its canvas and the markers; single-threaded.

import L from 'leaflet';
import type { ActorInfo, Placed, Vec3, Walker } from './core.js';
import { latLngToWorld, worldToLatLng } from './core.js';
import { nearestDot } from './listing.js';

const DOM_MARKERS_MAX = 300; // actors in view drawn as DOM markers at most; beyond, the canvas alone
const PANE_Z_INDEX = '390'; // above the ground tiles (200), below routes and grid (400) and markers (600)
const PAD_RATIO = 0.3; // the canvas reaches this share of the view beyond each side, so a pan shows dots
const DOT_RADIUS_PX = 4;
const SELECTED_RING_PX = 3; // the ring around a selected dot, beyond its radius
const HIT_RADIUS_PX = 8; // a click this close to a dot selects it
const COLOURS: Record<Walker, string> = { resident: '#2f6fdf', patroller: '#c9462c', model: '#8e44ad', none: '#9aa0a6' };
const WALKER_ORDER: readonly Walker[] = ['none', 'model', 'patroller', 'resident']; // drawn last is on top

const ll = (p: { x: number; z: number }) => L.latLng(...worldToLatLng(p));

export function escapeHtml(text: string): string {
  return text.replace(/[&<>"']/g, (c) => `&#${c.charCodeAt(0)};`);
}

function hintOf(info: ActorInfo): string {
  return info.refusal ? `${info.id}: ${info.refusal}` : `${info.id} (${info.walker})`;
}

export class ActorLayer {
  private infos: ActorInfo[] = [];
  private xs = new Float64Array(0); // world x and z where each actor is shown; NaN without a position
  private zs = new Float64Array(0);
  private index = new Map<string, number>();
  private walked = new Map<string, Vec3>(); // where the game last said each walker is
  private markers = new Map<string, L.Marker>(); // the DOM markers on the map now
  private selected = '';
  private canvas: HTMLCanvasElement;
  private corner = L.latLng(0, 0); // the canvas's top-left, for the zoom animation
  private queued = false;
  onSelect: (id: string) => void = () => {};

  constructor(private readonly map: L.Map) {
    const pane = map.createPane('actors');
    pane.style.zIndex = PANE_Z_INDEX;
    this.canvas = L.DomUtil.create('canvas', 'actor-canvas', pane);
    this.canvas.style.pointerEvents = 'none';
    if (map.options.zoomAnimation && L.Browser.any3d) {
      this.canvas.classList.add('leaflet-zoom-animated');
      map.on('zoomanim', (e) => this.animateZoom(e as L.ZoomAnimEvent));
    }
    map.on('moveend resize viewreset', () => this.redraw());
    map.on('click', (e: L.LeafletMouseEvent) => {
      const i = this.dotAt(e.latlng);
      if (i >= 0) this.onSelect(this.infos[i].id);
    });
    map.on('mousemove', (e: L.LeafletMouseEvent) => {
      const i = this.dotAt(e.latlng);
      map.getContainer().style.cursor = i >= 0 ? 'pointer' : '';
      map.getContainer().title = i >= 0 ? hintOf(this.infos[i]) : '';
    });
  }

  // The actors to show, in the package's order; a walker stays where the game last said it is.
  setActors(infos: ActorInfo[], placed: Placed[]): void {
    const at = new Map(placed.map((p) => [p.id, p.position]));
    this.infos = infos;
    this.xs = new Float64Array(infos.length);
    this.zs = new Float64Array(infos.length);
    this.index.clear();
    infos.forEach((info, i) => {
      const p = this.walked.get(info.id) ?? at.get(info.id) ?? null;
      this.xs[i] = p ? p.x : NaN;
      this.zs[i] = p ? p.z : NaN;
      if (!this.index.has(info.id)) this.index.set(info.id, i);
    });
    for (const [id, m] of this.markers) (m.remove(), this.markers.delete(id)); // their icons may have changed
    this.redraw();
  }

  // The DOM marker of `id` while it has one, for gliding.
  marker(id: string): L.Marker | undefined {
    return this.markers.get(id);
  }

  // Shows `id` at `p`; `walked`: the game says it is there, so a reload keeps it there.
  place(id: string, p: Vec3, walked = false): void {
    const i = this.index.get(id);
    if (i === undefined) return;
    if (walked) this.walked.set(id, p);
    this.xs[i] = p.x;
    this.zs[i] = p.z;
    const m = this.markers.get(id);
    if (m) m.setLatLng(ll(p));
    else this.queueRedraw();
  }

  select(id: string): void {
    this.markers.get(this.selected)?.getElement()?.classList.remove('selected');
    this.selected = id;
    this.markers.get(id)?.getElement()?.classList.add('selected');
    this.queueRedraw();
  }

  private queueRedraw(): void {
    if (this.queued) return;
    this.queued = true;
    requestAnimationFrame(() => ((this.queued = false), this.redraw()));
  }

  // The dot under `at` drawn on the canvas (a DOM marker takes its own clicks), or -1.
  private dotAt(at: L.LatLng): number {
    const w = latLngToWorld(at.lat, at.lng);
    const radius = HIT_RADIUS_PX / 2 ** this.map.getZoom();
    return nearestDot(this.xs, this.zs, w.x, w.z, radius, (i) => this.markers.has(this.infos[i].id));
  }

  private animateZoom(e: L.ZoomAnimEvent): void {
    const scale = this.map.getZoomScale(e.zoom, this.map.getZoom());
    // Leaflet's own overlays place themselves for the zoom's end the same way.
    const offset = (this.map as any)._latLngToNewLayerPoint(this.corner, e.zoom, e.center) as L.Point;
    L.DomUtil.setTransform(this.canvas, offset, scale);
  }

  // Places the canvas over the view and its margin, picks who gets a DOM marker, and draws the rest.
  redraw(): void {
    const size = this.map.getSize();
    const pad = size.multiplyBy(PAD_RATIO).round();
    const topLeft = this.map.containerPointToLayerPoint(pad.multiplyBy(-1));
    const full = size.add(pad.multiplyBy(2));
    L.DomUtil.setPosition(this.canvas, topLeft);
    this.corner = this.map.layerPointToLatLng(topLeft);
    const scale = 2 ** this.map.getZoom();
    const origin = this.map.getPixelOrigin().add(topLeft); // the world's pixel at the canvas's top-left
    const inside: number[] = [];
    for (let i = 0; i < this.xs.length; ++i) {
      const cx = this.xs[i] * scale - origin.x, cy = this.zs[i] * scale - origin.y;
      if (cx >= 0 && cy >= 0 && cx <= full.x && cy <= full.y) inside.push(i);
    }
    const asMarkers = this.infos.length <= DOM_MARKERS_MAX ? this.infos.map((_, i) => i)
      : inside.length <= DOM_MARKERS_MAX ? inside : [];
    this.showMarkers(asMarkers);
    const onCanvas = inside.filter((i) => !this.markers.has(this.infos[i].id));
    this.paint(onCanvas, full, scale, origin);
  }

  private showMarkers(indices: number[]): void {
    const wanted = new Set(indices.map((i) => this.infos[i].id));
    for (const [id, m] of this.markers) if (!wanted.has(id)) (m.remove(), this.markers.delete(id));
    for (const i of indices) {
      const info = this.infos[i];
      if (this.markers.has(info.id) || Number.isNaN(this.xs[i])) continue;
      const hint = hintOf(info);
      const icon = L.divIcon({ className: `actor walker-${info.walker}`, iconSize: [14, 14],
        html: `<span class="actor-label">${escapeHtml(info.id)}</span>` });
      const m = L.marker(ll({ x: this.xs[i], z: this.zs[i] }), { icon, title: hint, alt: hint, keyboard: true });
      m.on('click', () => this.onSelect(info.id));
      m.on('add', () => {
        m.getElement()?.setAttribute('data-actor-id', info.id);
        if (info.id === this.selected) m.getElement()?.classList.add('selected');
      });
      this.markers.set(info.id, m.addTo(this.map));
    }
  }

  private paint(indices: number[], full: L.Point, scale: number, origin: L.Point): void {
    const ratio = window.devicePixelRatio || 1;
    this.canvas.width = Math.round(full.x * ratio);
    this.canvas.height = Math.round(full.y * ratio);
    this.canvas.style.width = `${full.x}px`;
    this.canvas.style.height = `${full.y}px`;
    this.canvas.dataset.drawn = String(indices.length);
    const ctx = this.canvas.getContext('2d');
    if (!ctx) return;
    ctx.scale(ratio, ratio);
    for (const walker of WALKER_ORDER) {
      ctx.beginPath();
      for (const i of indices) {
        if (this.infos[i].walker !== walker) continue;
        const cx = this.xs[i] * scale - origin.x, cy = this.zs[i] * scale - origin.y;
        ctx.moveTo(cx + DOT_RADIUS_PX, cy);
        ctx.arc(cx, cy, DOT_RADIUS_PX, 0, 2 * Math.PI);
      }
      ctx.fillStyle = COLOURS[walker];
      ctx.fill();
    }
    const s = this.index.get(this.selected);
    if (s !== undefined && indices.includes(s)) {
      ctx.beginPath();
      ctx.arc(this.xs[s] * scale - origin.x, this.zs[s] * scale - origin.y, DOT_RADIUS_PX + SELECTED_RING_PX, 0, 2 * Math.PI);
      ctx.strokeStyle = '#ffbf00';
      ctx.lineWidth = SELECTED_RING_PX;
      ctx.stroke();
    }
  }
}
