// The walkers while the timeline plays: one canvas over the map's view (no margin: it follows the view
// each frame, so it is small to clear and to compose), cleared and drawn again each frame with a dot per
// walker in view (and, while few are in view, the labels that fit), so 1,000 moving
// walkers cost one picture a frame instead of as many DOM markers moved, laid out and labelled again.
// ActorLayer (actorlayer.ts) places it and says what to draw. Owns its canvas and dot pictures;
// single-threaded.

import L from 'leaflet';
import type { Walker } from '../core/model.js';
import type { LabelBox } from '../core/timeline.js';
import { labelsThatFit } from '../core/timeline.js';
import { DotPicture } from './dotpixels.js';

const MARKER_RADIUS_PX = 7; // as page.css draws a walker's DOM marker: 10 pixels across and a white border of 2
const MARKER_RIM_PX = 2;
const LABEL_FONT = '11px sans-serif'; // as page.css sets .actor-label
const LABEL_HALO_PX = 3; // the white around each letter, as the label's text-shadow
const LABEL_TEXT_LEFT_PX = 11; // where a DOM marker's label text starts and tops, from the marker's centre
const LABEL_TEXT_TOP_PX = -8;

// One walker to draw: its centre on the canvas in CSS pixels, its class and its label (null: none).
export interface WalkerDot { x: number; y: number; walker: Walker; label: string | null }

// The canvas's picture: world x and z times `scale` less (x, z) are its pixels, `width` by `height`.
export interface Frame { scale: number; x: number; z: number; width: number; height: number }

export class WalkerCanvas {
  readonly canvas: HTMLCanvasElement;
  private picture: DotPicture;
  private empty = true;
  private zooming = false; // while the zoom animates, the picture keeps the zoom it started from
  private shown: Frame = { scale: 0, x: 0, z: 0, width: 0, height: 0 };
  private corner = L.latLng(0, 0);

  constructor(private map: L.Map, pane: HTMLElement) {
    this.canvas = L.DomUtil.create('canvas', 'walker-canvas', pane);
    this.canvas.style.pointerEvents = 'none';
    this.picture = new DotPicture(this.canvas, MARKER_RADIUS_PX, MARKER_RIM_PX);
    if (map.options.zoomAnimation && L.Browser.any3d) {
      this.canvas.classList.add('leaflet-zoom-animated');
      map.on('zoomanim', (e) => this.animateZoom(e as L.ZoomAnimEvent));
    }
    map.on('zoomend', () => (this.zooming = false));
  }

  // Over the view as it is now (while a zoom animates, as it was), for the next picture.
  follow(): Frame {
    if (this.zooming) return this.shown;
    const topLeft = this.map.containerPointToLayerPoint([0, 0]);
    const size = this.map.getSize();
    L.DomUtil.setPosition(this.canvas, topLeft);
    this.corner = this.map.layerPointToLatLng(topLeft);
    const origin = this.map.getPixelOrigin().add(topLeft);
    this.shown = { scale: 2 ** this.map.getZoom(), x: origin.x, z: origin.y, width: size.x, height: size.y };
    return this.shown;
  }

  private animateZoom(e: L.ZoomAnimEvent): void {
    this.zooming = true;
    const scale = this.map.getZoomScale(e.zoom, this.map.getZoom());
    const offset = (this.map as any)._latLngToNewLayerPoint(this.corner, e.zoom, e.center) as L.Point;
    L.DomUtil.setTransform(this.canvas, offset, scale);
  }

  // One frame: every dot, and the labels that fit without overlapping, by `labelOrder` (indices into dots).
  draw(dots: readonly WalkerDot[], labelOrder: readonly number[], labelBox: (d: WalkerDot) => LabelBox): void {
    this.canvas.dataset.drawn = String(dots.length);
    this.empty = dots.length === 0;
    if (!this.picture.begin(this.shown.width, this.shown.height)) return;
    for (const d of dots) this.picture.dot(d.x, d.y, d.walker);
    this.picture.end();
    if (labelOrder.length === 0) return;
    const ctx = this.canvas.getContext('2d')!;
    const ratio = window.devicePixelRatio || 1;
    ctx.setTransform(ratio, 0, 0, ratio, 0, 0);
    const fits = labelsThatFit(labelOrder.map((k) => labelBox(dots[k])), labelOrder.map((_, n) => n));
    ctx.font = LABEL_FONT;
    ctx.textBaseline = 'top';
    ctx.lineJoin = 'round';
    ctx.lineWidth = LABEL_HALO_PX;
    ctx.strokeStyle = '#ffffff';
    ctx.fillStyle = '#000000';
    labelOrder.forEach((k, n) => {
      const d = dots[k];
      if (!fits[n] || d.label === null) return;
      ctx.strokeText(d.label, d.x + LABEL_TEXT_LEFT_PX, d.y + LABEL_TEXT_TOP_PX);
      ctx.fillText(d.label, d.x + LABEL_TEXT_LEFT_PX, d.y + LABEL_TEXT_TOP_PX);
    });
  }

  clear(): void {
    if (this.empty) return;
    this.canvas.getContext('2d')?.clearRect(0, 0, this.canvas.width, this.canvas.height);
    this.canvas.dataset.drawn = '0';
    this.empty = true;
  }
}
