// The map itself: ground tiles or a labelled grid, the actors (actorlayer.ts; the selected one marked),
// and the walkers moving between live events. Owns the Leaflet map and its layers; single-threaded.

import L from 'leaflet';
import type { ActorInfo, Placed, Vec3 } from '../core/model.js';
import { latLngToWorld, worldToLatLng } from '../core/model.js';
import { ActorLayer } from './actorlayer.js';
import { between, gridStep } from '../core/route.js';

const MIN_ZOOM = -5; // tiles exist for zooms -5 to 2
const MAX_ZOOM = 2;
const TILE_PIXELS = 256;
const GRID_LINES_MAX = 400; // per direction, so a huge view never hangs the page
const FOCUS_PADDING_PX: [number, number] = [60, 60]; // around a selected route
const ANIMATION_MS_MAX = 500; // a walker glides at most this long towards its next live position

const ll = (p: { x: number; z: number }) => L.latLng(...worldToLatLng(p));

export class MapView {
  readonly map: L.Map;
  private tiles: L.TileLayer;
  private grid = L.layerGroup();
  private actors: ActorLayer;
  private gliding = new Map<string, { from: Vec3; to: Vec3; start: number; ms: number }>();
  private lastLive = 0;
  set onSelect(select: (id: string) => void) {
    this.actors.onSelect = select;
  }

  constructor(element: HTMLElement, cursor: HTMLElement) {
    this.map = L.map(element, { crs: L.CRS.Simple, minZoom: MIN_ZOOM, maxZoom: MAX_ZOOM, zoomSnap: 1 });
    this.map.setView([0, 0], -2);
    this.tiles = L.tileLayer('/ground/{z}/{x}/{y}.png', {
      tileSize: TILE_PIXELS, minZoom: MIN_ZOOM, maxZoom: MAX_ZOOM, noWrap: true, className: 'ground',
    });
    this.grid.addTo(this.map);
    this.actors = new ActorLayer(this.map);
    this.map.on('moveend zoomend', () => this.drawGrid());
    this.map.on('mousemove', (e: L.LeafletMouseEvent) => {
      const w = latLngToWorld(e.latlng.lat, e.latlng.lng);
      cursor.textContent = `x ${w.x.toFixed(0)}, z ${w.z.toFixed(0)}`;
    });
    this.drawGrid();
  }

  // With a game: its ground as tiles inside its bounds; without: only the grid.
  showGround(known: boolean, bounds?: { low: Vec3; high: Vec3 }): void {
    if (known && !this.map.hasLayer(this.tiles)) this.tiles.addTo(this.map).bringToBack();
    if (!known && this.map.hasLayer(this.tiles)) this.tiles.remove();
    if (known) this.tiles.redraw();
    if (bounds && !this.framed) {
      this.map.fitBounds(L.latLngBounds(ll(bounds.low), ll(bounds.high)));
      this.framed = true;
    }
    this.drawGrid();
  }
  private framed = false;

  // Grid lines with their world coordinate, spaced for the zoom: x along the top, z down the left.
  private drawGrid(): void {
    this.grid.clearLayers();
    const step = gridStep(this.map.getZoom());
    const view = this.map.getBounds();
    const a = latLngToWorld(view.getNorth(), view.getWest());
    const b = latLngToWorld(view.getSouth(), view.getEast());
    const line = { color: '#6b7a8f', weight: 1, opacity: 0.35, interactive: false };
    const label = (text: string, at: L.LatLng, cls: string) =>
      L.marker(at, { interactive: false, keyboard: false,
        icon: L.divIcon({ className: `axis ${cls}`, html: text, iconSize: undefined }) }).addTo(this.grid);
    const xs = Math.floor(a.x / step), xe = Math.ceil(b.x / step);
    const zs = Math.floor(a.z / step), ze = Math.ceil(b.z / step);
    if (xe - xs > GRID_LINES_MAX || ze - zs > GRID_LINES_MAX) return;
    for (let i = xs; i <= xe; ++i) {
      L.polyline([ll({ x: i * step, z: a.z }), ll({ x: i * step, z: b.z })], line).addTo(this.grid);
      label(`x ${i * step}`, ll({ x: i * step, z: a.z }), 'axis-x');
    }
    for (let j = zs; j <= ze; ++j) {
      L.polyline([ll({ x: a.x, z: j * step }), ll({ x: b.x, z: j * step })], line).addTo(this.grid);
      label(`z ${j * step}`, ll({ x: a.x, z: j * step }), 'axis-z');
    }
  }

  // Every placed actor, by walker class; one that may not walk is greyed with its refusal.
  showActors(infos: ActorInfo[], placed: Placed[]): void {
    this.gliding.clear();
    this.actors.setActors(infos, placed);
  }

  // Marks the selected actor; its route is drawn for editing by routelayer.ts.
  showRoute(actor: Placed | null): void {
    this.actors.select(actor?.id ?? '');
  }

  // A live event: every walker glides from where it is to its new position until the next event.
  live(actors: { id: string; position: Vec3 }[]): void {
    const now = performance.now();
    const ms = Math.min(ANIMATION_MS_MAX, this.lastLive ? now - this.lastLive : ANIMATION_MS_MAX);
    this.lastLive = now;
    for (const a of actors) {
      const m = this.actors.marker(a.id);
      if (!m) {
        this.actors.place(a.id, a.position, true); // a dot on the canvas jumps: gliding would redraw every dot
        continue;
      }
      const here = latLngToWorld(m.getLatLng().lat, m.getLatLng().lng);
      this.actors.place(a.id, { x: here.x, y: 0, z: here.z }, true);
      this.gliding.set(a.id, { from: { x: here.x, y: 0, z: here.z }, to: a.position, start: now, ms });
    }
    requestAnimationFrame(() => this.glide());
  }

  private glide(): void {
    const now = performance.now();
    for (const [id, g] of this.gliding) {
      const t = g.ms > 0 ? (now - g.start) / g.ms : 1;
      this.actors.place(id, between(g.from, g.to, t), t >= 1);
      if (t >= 1) this.gliding.delete(id);
    }
    if (this.gliding.size > 0) requestAnimationFrame(() => this.glide());
  }

  // The timeline's places of its walkers (x and z in the order of `ids`): no gliding towards live positions
  // any more. `playing`: a frame while it plays, drawn on a canvas; otherwise each walker's marker carries
  // its place as data-x and data-z.
  timelineWalkers(ids: readonly string[], xs: Float64Array, zs: Float64Array, playing: boolean): void {
    this.gliding.clear();
    this.actors.placeWalkers(ids, xs, zs, playing);
  }

  // Back to live: markers no longer carry the timeline's places (main.ts shows the actors again).
  leaveTimeline(): void {
    this.actors.stopPlaying();
    this.actors.unstamp();
  }

  // Brings the actor and its whole route into view. The world's framing, when the game's first event comes
  // later, then leaves the view where the modder is working.
  focus(actor: Placed): void {
    this.framed = true;
    const spots = [actor.position, ...(actor.route?.points ?? [])].filter((p): p is Vec3 => p !== null);
    if (spots.length > 0) this.map.fitBounds(L.latLngBounds(spots.map(ll)), { padding: FOCUS_PADDING_PX, maxZoom: 0 });
  }
}

export { escapeHtml } from './actorlayer.js';
