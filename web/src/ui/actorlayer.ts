// Every placed actor on the map: a dot on one canvas, redrawn when the view settles, so 50,000 actors pan
// and zoom smoothly; and while few are in view (or the package is small), DOM markers instead, carrying
// the id's label, the hover text and data-actor-id, which people, assistive technology and the browser
// tests find. While the timeline plays, its walkers move on a canvas of their own (walkercanvas.ts) and
// get their DOM markers back, with their places, when it stops. Owns its pane, its canvases and the
// markers; single-threaded.

import L from 'leaflet';
import type { ActorInfo, Placed, Vec3, Walker } from '../core/model.js';
import { latLngToWorld, worldToLatLng } from '../core/model.js';
import { nearestDot } from '../core/listing.js';
import { labelsThatFit } from '../core/timeline.js';
import { DOT_RADIUS_PX, DotPicture } from './dotpixels.js';
import { WalkerCanvas } from './walkercanvas.js';

const DOM_MARKERS_MAX = 300; // actors in view drawn as DOM markers at most; beyond, the canvas alone
const PANE_Z_INDEX = '390'; // above the ground tiles (200), below routes and grid (400) and markers (600)
const PAD_RATIO = 0.3; // the canvas reaches this share of the view beyond each side, so a pan shows dots
const RING_PX = 18; // the ring around a selected dot on the canvas, a marker of its own: no redraw
const HIT_RADIUS_PX = 8; // a click this close to a dot selects it
const WALKER_ORDER: readonly Walker[] = ['none', 'model', 'patroller', 'resident']; // drawn last is on top
const LABEL_LEFT_PX = 9; // a label's box beside its marker's centre, as page.css places .actor-label
const LABEL_TOP_PX = -10;
const LABEL_HEIGHT_PX = 14;
const LABEL_CHAR_PX = 6.5; // the label font's widest average letter: a box a little too wide hides, never smears
const LABELS_EVERY_MS = 200; // while markers move, labels are sorted out again at most this often

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
  private ring: L.Marker | null = null; // around the selected actor while it is a dot on the canvas
  private canvas: HTMLCanvasElement;
  private corner = L.latLng(0, 0); // the canvas's top-left, for the zoom animation
  private queued = false;
  private picture: DotPicture;
  private stamped = new Set<string>(); // markers that carry their shown place as data-x and data-z
  private labelsAt = 0; // when labels were last sorted out (performance.now())
  private labelsQueued = false;
  private drawn = { scale: 0, x: 0, z: 0, width: 0, height: 0 }; // the canvas's last picture, in pixels
  private walkers: WalkerCanvas;
  private playing: string[] | null = null; // the timeline's walkers while it plays
  private moving = new Uint8Array(0); // per actor: 1 while it is one of the playing timeline's walkers
  onSelect: (id: string) => void = () => {};

  constructor(private readonly map: L.Map) {
    const pane = map.createPane('actors');
    pane.style.zIndex = PANE_Z_INDEX;
    this.canvas = L.DomUtil.create('canvas', 'actor-canvas', pane);
    this.canvas.style.pointerEvents = 'none';
    this.picture = new DotPicture(this.canvas);
    this.walkers = new WalkerCanvas(map, pane);
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
    this.markMoving();
    for (const [id, m] of this.markers) (m.remove(), this.markers.delete(id)); // their icons may have changed
    this.redraw();
  }

  // The DOM marker of `id` while it has one, for gliding.
  marker(id: string): L.Marker | undefined {
    return this.markers.get(id);
  }

  // Shows `id` at `p`; `walked`: the game says it is there, so a reload keeps it there; `stamp`: its
  // marker carries the place as data-x and data-z (the timeline's, for tests and automation).
  place(id: string, p: Vec3, walked = false, stamp = false): void {
    const i = this.index.get(id);
    if (i === undefined) return;
    if (walked) this.walked.set(id, p);
    if (stamp) this.stamped.add(id);
    const seen = this.onCanvas(this.xs[i], this.zs[i]) || this.onCanvas(p.x, p.z);
    this.xs[i] = p.x;
    this.zs[i] = p.z;
    const m = this.markers.get(id);
    if (m) {
      m.setLatLng(ll(p));
      if (stamp) this.stampMarker(m, i);
      this.queueLabels();
    } else if (seen) {
      this.queueRedraw(); // a walker far from the view costs no picture
    }
    if (id === this.selected) this.ring?.setLatLng(ll(p));
  }

  // The timeline's walkers at their places, each stamped. `playing`: a frame of the timeline playing, drawn
  // on the walkers' canvas alone; otherwise (paused, scrubbed, stopped) every walker is placed as when the
  // map is still, and its DOM marker, where it has one, carries the place.
  placeWalkers(ids: readonly string[], xs: Float64Array, zs: Float64Array, playing: boolean): void {
    for (const id of ids) this.stamped.add(id);
    if (!playing) {
      const stopped = this.playing !== null;
      this.playing = null;
      this.markMoving();
      ids.forEach((id, k) => this.place(id, { x: xs[k], y: 0, z: zs[k] }, false, true));
      if (stopped) (this.redraw(), this.walkers.clear());
      return;
    }
    ids.forEach((id, k) => {
      const i = this.index.get(id);
      if (i !== undefined) (this.xs[i] = xs[k]), (this.zs[i] = zs[k]);
    });
    if (this.playing === null) {
      this.playing = [...ids];
      this.markMoving();
      this.redraw(); // their DOM markers and dots leave for the walkers' canvas
    } else {
      this.drawWalkers();
      this.placeRing();
    }
  }

  // The timeline stopped playing without a last place (the map went back to live).
  stopPlaying(): void {
    if (this.playing === null) return;
    this.playing = null;
    this.markMoving();
    this.walkers.clear();
    this.redraw();
  }

  private markMoving(): void {
    this.moving = new Uint8Array(this.infos.length);
    for (const id of this.playing ?? []) {
      const i = this.index.get(id);
      if (i !== undefined) this.moving[i] = 1;
    }
  }

  // The playing walkers in view, labelled (as their DOM markers would be) while the actors on the actors'
  // canvas's picture are few enough for DOM markers; the selected actor's label first.
  private drawWalkers(): void {
    const d = this.drawn;
    const f = this.walkers.follow();
    const dots = [];
    let inView = 0;
    for (let i = 0; i < this.xs.length; ++i) {
      const cx = this.xs[i] * d.scale - d.x, cy = this.zs[i] * d.scale - d.z;
      if (cx >= 0 && cy >= 0 && cx <= d.width && cy <= d.height) ++inView;
      if (!this.moving[i]) continue;
      const x = this.xs[i] * f.scale - f.x, y = this.zs[i] * f.scale - f.z;
      const r = 2 * DOT_RADIUS_PX; // a walker's dot is drawn as big as its marker
      if (x >= -r && y >= -r && x <= f.width + r && y <= f.height + r)
        dots.push({ x, y, walker: this.infos[i].walker, label: this.infos[i].id, i });
    }
    const labelled = this.infos.length <= DOM_MARKERS_MAX || inView <= DOM_MARKERS_MAX;
    const order = labelled ? dots.map((_, k) => k) : [];
    const first = dots.findIndex((dot) => this.infos[dot.i].id === this.selected);
    if (labelled && first > 0) order.unshift(...order.splice(first, 1));
    this.walkers.draw(dots, order, (dot) => ({ x: dot.x + LABEL_LEFT_PX, y: dot.y + LABEL_TOP_PX,
      width: (dot.label ?? '').length * LABEL_CHAR_PX, height: LABEL_HEIGHT_PX }));
  }

  // No marker carries a stamped place any more (the map left the timeline).
  unstamp(): void {
    for (const id of this.stamped) {
      const e = this.markers.get(id)?.getElement();
      e?.removeAttribute('data-x');
      e?.removeAttribute('data-z');
    }
    this.stamped.clear();
  }

  private stampMarker(m: L.Marker, i: number): void {
    const e = m.getElement();
    e?.setAttribute('data-x', this.xs[i].toFixed(1));
    e?.setAttribute('data-z', this.zs[i].toFixed(1));
  }

  // Labels of markers close together would overlap into a smear: only those that fit are shown, the
  // selected actor's first, then in the package's order; the others show when the mouse is over them.
  private sortLabels(): void {
    this.labelsAt = performance.now();
    const shown = [...this.markers];
    const boxes = shown.map(([id, m]) => {
      const at = this.map.latLngToContainerPoint(m.getLatLng());
      return { x: at.x + LABEL_LEFT_PX, y: at.y + LABEL_TOP_PX, width: id.length * LABEL_CHAR_PX, height: LABEL_HEIGHT_PX };
    });
    const order = shown.map((_, k) => k);
    const first = shown.findIndex(([id]) => id === this.selected);
    if (first > 0) order.unshift(...order.splice(first, 1));
    const fits = labelsThatFit(boxes, order);
    shown.forEach(([, m], k) => m.getElement()?.classList.toggle('label-hidden', !fits[k]));
  }

  private queueLabels(): void {
    if (this.labelsQueued) return;
    this.labelsQueued = true;
    const wait = Math.max(0, LABELS_EVERY_MS - (performance.now() - this.labelsAt));
    setTimeout(() => requestAnimationFrame(() => ((this.labelsQueued = false), this.sortLabels())), wait);
  }

  select(id: string): void {
    this.markers.get(this.selected)?.getElement()?.classList.remove('selected');
    this.selected = id;
    this.markers.get(id)?.getElement()?.classList.add('selected');
    this.placeRing();
    this.sortLabels();
  }

  // A DOM marker shows its own selection; a dot gets the ring.
  private placeRing(): void {
    const i = this.index.get(this.selected);
    const shown = i !== undefined && !Number.isNaN(this.xs[i]) && !this.markers.has(this.selected);
    if (!shown) return void (this.ring?.remove(), (this.ring = null));
    const at = ll({ x: this.xs[i], z: this.zs[i] });
    if (this.ring) this.ring.setLatLng(at);
    else this.ring = L.marker(at, { interactive: false, keyboard: false, icon: L.divIcon({ className: 'selected-ring',
      iconSize: [RING_PX, RING_PX] }) }).addTo(this.map);
  }

  private onCanvas(x: number, z: number): boolean {
    const d = this.drawn;
    const cx = x * d.scale - d.x, cy = z * d.scale - d.z;
    return cx >= -DOT_RADIUS_PX && cy >= -DOT_RADIUS_PX && cx <= d.width + DOT_RADIUS_PX && cy <= d.height + DOT_RADIUS_PX;
  }

  private queueRedraw(): void {
    if (this.queued) return;
    this.queued = true;
    requestAnimationFrame(() => ((this.queued = false), this.redraw()));
  }

  // The dot under `at` drawn on the canvas (a DOM marker takes its own clicks), or -1. None while the map
  // adds route points (editing.ts marks its container "adding"): there a click places a point.
  private dotAt(at: L.LatLng): number {
    if (this.map.getContainer().classList.contains('adding')) return -1;
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
    this.drawn = { scale, x: origin.x, z: origin.y, width: full.x, height: full.y };
    const inside: number[] = [];
    for (let i = 0; i < this.xs.length; ++i) {
      const cx = this.xs[i] * scale - origin.x, cy = this.zs[i] * scale - origin.y;
      if (cx >= 0 && cy >= 0 && cx <= full.x && cy <= full.y) inside.push(i);
    }
    const asMarkers = this.infos.length <= DOM_MARKERS_MAX ? this.infos.map((_, i) => i)
      : inside.length <= DOM_MARKERS_MAX ? inside : [];
    const still = (i: number) => this.moving[i] === 0; // a playing walker is on the walkers' canvas alone
    this.showMarkers(asMarkers.filter(still));
    const onCanvas = inside.filter((i) => still(i) && !this.markers.has(this.infos[i].id));
    this.paint(onCanvas, full, scale, origin);
    if (this.playing) this.drawWalkers();
    this.placeRing();
    this.sortLabels();
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
        if (this.stamped.has(info.id)) this.stampMarker(m, i);
      });
      this.markers.set(info.id, m.addTo(this.map));
    }
  }

  // Dots by walker class, so that the walkers that matter most lie on top.
  private paint(indices: number[], full: L.Point, scale: number, origin: L.Point): void {
    this.canvas.dataset.drawn = String(indices.length);
    if (!this.picture.begin(full.x, full.y)) return;
    for (const walker of WALKER_ORDER)
      for (const i of indices)
        if (this.infos[i].walker === walker) this.picture.dot(this.xs[i] * scale - origin.x, this.zs[i] * scale - origin.y, walker);
    this.picture.end();
  }
}
