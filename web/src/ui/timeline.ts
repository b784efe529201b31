// The timeline bar under the map: "Live" (what the game walks) or "Timeline" (the prediction of
// package_timeline, no game needed), "Play"/"Pause", the speed and the "Time" slider. While on the timeline
// every walker is drawn where its keys put it at the shown time, once a frame while playing (on a canvas;
// paused, each walker's marker carries its place); the meetings panel (meetings.ts) sets the time. Owns the
// bar's elements and the fetched timeline; single-threaded.

import { rpc } from './api.js';
import { actionFor } from '../core/keys.js';
import type { MapView } from './mapview.js';
import type { Timeline } from '../core/timeline.js';
import { advance, placeAt, readTimeline, timeText } from '../core/timeline.js';

// What the page around the bar provides.
export interface TimelineHost {
  pkg(): string;
  showLive(): void; // every actor where the game (or the document) puts it again
  say(text: string): void;
}

const SPEEDS = [1, 4, 16]; // game seconds per second of the page's clock
const TIME_STEP_S = 0.1; // the slider's step
const CONTROLS = 'button, input, select, textarea, a[href], [role=button]'; // elements with their own use of Space

function make<K extends keyof HTMLElementTagNameMap>(tag: K, props: Partial<HTMLElementTagNameMap[K]> = {}): HTMLElementTagNameMap[K] {
  return Object.assign(document.createElement(tag), props);
}

export class TimelineBar {
  readonly bar = make('div', { id: 'timeline-bar' });
  private live = make('input', { type: 'radio', name: 'timeline-mode', value: 'live', checked: true });
  private predicted = make('input', { type: 'radio', name: 'timeline-mode', value: 'timeline' });
  private play = make('button', { type: 'button', textContent: 'Play' });
  private speed = make('select');
  private slider = make('input', { type: 'range', min: '0', max: '600', step: String(TIME_STEP_S), value: '0' });
  private shown = make('output');
  private timeline: Timeline | null = null;
  private ids: string[] = []; // the timeline's walkers, and where each stands at the shown time
  private xs = new Float64Array(0);
  private zs = new Float64Array(0);
  private fetching: Promise<boolean> | null = null;
  private time = 0;
  private playing = false;
  private lastFrame = 0;

  constructor(parent: HTMLElement, private view: MapView, private host: TimelineHost) {
    this.bar.setAttribute('role', 'toolbar');
    this.bar.setAttribute('aria-label', 'Timeline');
    const modes = make('fieldset');
    modes.setAttribute('aria-label', 'Show');
    for (const [input, text] of [[this.live, 'Live'], [this.predicted, 'Timeline']] as const) {
      const label = make('label');
      label.append(input, ` ${text}`);
      modes.append(label);
    }
    for (const s of SPEEDS) this.speed.append(make('option', { value: String(s), textContent: `×${s}` }));
    this.speed.setAttribute('aria-label', 'Playing speed');
    this.slider.setAttribute('aria-label', 'Time');
    this.shown.setAttribute('aria-live', 'off');
    this.shown.textContent = timeText(0, 600);
    this.bar.append(modes, this.play, this.speed, this.slider, this.shown);
    parent.append(this.bar);
    this.live.addEventListener('change', () => this.goLive());
    this.predicted.addEventListener('change', () => void this.goTimeline());
    this.play.addEventListener('click', () => void this.togglePlay());
    this.slider.addEventListener('input', () => void this.setTime(Number(this.slider.value)));
    document.addEventListener('keydown', (e) => this.onKey(e));
    this.enable();
  }

  get active(): boolean {
    return this.predicted.checked;
  }

  // Shows the timeline at `seconds`, fetching it first when the map is live.
  async setTime(seconds: number): Promise<boolean> {
    if (!(await this.goTimeline())) return false;
    this.time = Math.min(Math.max(0, seconds), this.timeline!.seconds);
    this.draw();
    return true;
  }

  // After the package was listed again: a change anywhere makes the prediction stale, so it is fetched
  // again and drawn at the same time; live, nothing is kept.
  async packageChanged(): Promise<void> {
    this.timeline = null;
    if (this.active && (await this.fetch())) this.draw(this.playing);
  }

  private async goTimeline(): Promise<boolean> {
    if (!this.predicted.checked) this.predicted.checked = true;
    if (!this.timeline && !(await this.fetch())) return (this.goLive(), false);
    this.enable();
    this.draw();
    return true;
  }

  private goLive(): void {
    this.playing = false;
    this.live.checked = true;
    this.view.leaveTimeline();
    this.host.showLive();
    this.enable();
  }

  // One fetch at a time: a second caller waits for the first's answer.
  private fetch(): Promise<boolean> {
    this.fetching ??= (async () => {
      const answer = await rpc('package_timeline', { package: this.host.pkg() });
      const read = answer.ok ? readTimeline(answer.result) : { ok: false, error: answer.error, value: undefined };
      if (!read.ok || !read.value) {
        this.host.say(`Timeline: ${read.error}`);
        return false;
      }
      this.timeline = read.value;
      this.ids = read.value.walkers.map((w) => w.id);
      this.xs = new Float64Array(this.ids.length);
      this.zs = new Float64Array(this.ids.length);
      this.slider.max = String(read.value.seconds);
      this.bar.dataset.walkers = String(read.value.walkers.length);
      return true;
    })().finally(() => (this.fetching = null));
    return this.fetching;
  }

  private enable(): void {
    for (const control of [this.play, this.speed, this.slider]) control.disabled = !this.active;
    this.play.textContent = this.playing ? 'Pause' : 'Play';
    this.bar.dataset.mode = this.active ? 'timeline' : 'live';
  }

  private async togglePlay(): Promise<void> {
    if (this.playing) return void ((this.playing = false), this.enable(), this.draw());
    if (!(await this.goTimeline())) return;
    if (this.time >= this.timeline!.seconds) this.time = 0;
    this.playing = true;
    this.enable();
    this.lastFrame = performance.now();
    requestAnimationFrame((now) => this.frame(now));
  }

  // While the package's timeline is fetched again after a change, the time stands still.
  private frame(now: number): void {
    if (!this.playing || !this.active) return;
    const end = this.timeline?.seconds ?? Infinity;
    if (this.timeline) this.time = advance(this.time, now - this.lastFrame, Number(this.speed.value), end);
    this.lastFrame = now;
    if (this.time >= end) return void ((this.playing = false), this.enable(), this.draw());
    this.draw(true);
    requestAnimationFrame((t) => this.frame(t));
  }

  // Every walker where its keys put it at the shown time; `playing`: a frame on the way, not a place to keep.
  private draw(playing = false): void {
    if (!this.timeline) return;
    this.timeline.walkers.forEach((w, k) => {
      const p = placeAt(w, this.time);
      this.xs[k] = p.x;
      this.zs[k] = p.z;
    });
    this.view.timelineWalkers(this.ids, this.xs, this.zs, playing);
    this.slider.value = String(this.time);
    this.shown.textContent = timeText(this.time, this.timeline.seconds);
    this.bar.dataset.time = this.time.toFixed(1);
  }

  // Space plays and pauses unless a control has the keyboard: there it keeps its own meaning (a button's
  // press, a checkbox's tick; on "Play" that press plays).
  private onKey(e: KeyboardEvent): void {
    const onControl = (e.target as HTMLElement).closest(CONTROLS) !== null;
    const k = { key: e.key, ctrl: e.ctrlKey || e.metaKey, shift: e.shiftKey, alt: e.altKey };
    if (onControl || actionFor(k, false) !== 'play-pause') return;
    e.preventDefault();
    void this.togglePlay();
  }
}
