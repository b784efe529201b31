// Editing the selected actor's route on the map. Every edit is a route command through /rpc; the page never
// changes a route by itself: after each command (taken or refused) it fetches the package again and draws
// what the server holds, and a refusal is shown with the server's text where the modder acted. Owns the
// editing state (selected point, adding mode, snap note) and wires the route layer, point list, settings,
// history, profile link and keyboard. Single-threaded.

import L from 'leaflet';
import { rpc } from './api.js';
import type { EditAnswer } from '../core/answers.js';
import { readEdit, readGroundPoint, readWarnings } from '../core/answers.js';
import type { ActorInfo, Placed, Segment, Vec3 } from '../core/model.js';
import { worldToLatLng } from '../core/model.js';
import type { Fields, FieldName } from '../core/edit.js';
import { alongWalk, nearestOnWalk, placedHeight, readFields, readHistory, selectionAfterRemoval, stepReorder } from '../core/edit.js';
import { HistoryPanel } from './history.js';
import type { Action } from '../core/keys.js';
import { actionFor, SHORTCUTS } from '../core/keys.js';
import { PointList } from './pointlist.js';
import type { ProfileChart } from './profile.js';
import { RouteLayer } from './routelayer.js';
import { SettingsForm } from './settings.js';

// What the page around the editing provides.
export interface EditHost {
  pkg(): string;
  selected(): { actor: Placed | null; info: ActorInfo | null; checked: Segment[] };
  reload(): Promise<void>; // fetches the package again and redraws everything: this editing, the check shown, the profile
  checkRoute(): Promise<void>;
  say(text: string): void;
  refused(error: string): void; // a command was refused: the page may offer a reload
}

type Where = HTMLElement | { x: number; z: number };

const WORLD_TOP_DEFAULT = 1000; // the height snapping looks down from when the game told no bounds [world units]
const $ = (id: string) => document.getElementById(id) as HTMLElement;

export class Editing {
  readonly layer: RouteLayer;
  private point: number | null = null;
  private adding = false;
  private note: { point: number; text: string } | null = null;
  private rules: Fields | null = null;
  private ground = { known: false, top: WORLD_TOP_DEFAULT };
  private list = new PointList($('point-list'));
  private settings = new SettingsForm($('settings'));
  private history = new HistoryPanel($('undo') as HTMLButtonElement, $('redo') as HTMLButtonElement, $('history-list'));

  constructor(private map: L.Map, private host: EditHost, private profile: ProfileChart) {
    this.layer = new RouteLayer(map, {
      selectPoint: (n) => this.selectPoint(n),
      move: (n, to) => void this.moveTo(n, to),
      insert: (after, at) => void this.addAt(at, after),
      hover: (at) => this.hoverRoute(at),
    });
    profile.onCursor = (d) => this.layer.showCursor(d === null ? null : alongWalk(this.layer.drawing, d));
    this.list.onSelect = (n) => this.selectPoint(n);
    this.list.onReorder = (point, to, row) => void this.reorder(point, to, row);
    this.settings.onChange = (field, value, input) => void this.setField(field, value, input);
    map.on('click', (e: L.LeafletMouseEvent) => {
      if (this.adding && this.editable()) void this.addAt({ x: e.latlng.lng, z: 0 - e.latlng.lat }, this.point);
    });
    this.wireButtons();
    document.addEventListener('keydown', (e) => this.onKey(e));
    this.drawHelp();
  }

  setGround(known: boolean, bounds?: { high: Vec3 }): void {
    this.ground = { known, top: bounds?.high?.y ?? WORLD_TOP_DEFAULT };
  }

  // A new actor was selected: no point chosen, and what its walker may set is asked again.
  async actorSelected(): Promise<void> {
    this.point = null;
    this.note = null;
    this.rules = null;
    this.clearRefusals();
    const { actor } = this.host.selected();
    if (!actor) return;
    const answer = await rpc('route_fields', { package: this.host.pkg(), id: actor.id });
    if (this.host.selected().actor?.id !== actor.id) return; // another actor was selected meanwhile
    this.rules = answer.ok ? readFields(answer.result) : null;
    if (!answer.ok) $('settings-refusal').textContent = answer.error;
    this.draw();
  }

  // After the package was fetched again (an edit here, or a change from anywhere).
  async loaded(): Promise<void> {
    const answer = await rpc('history', { package: this.host.pkg() });
    const entries = answer.ok ? readHistory(answer.result) : null;
    if (entries) this.history.draw(entries);
  }

  draw(): void {
    const { actor, info, checked } = this.host.selected();
    const editable = this.editable();
    const count = actor?.route?.points.length ?? 0;
    if (this.point !== null && this.point > count) this.point = count > 0 ? count : null;
    if (!editable) this.setAdding(false);
    const note = this.note && this.note.point === this.point ? this.note : null;
    this.layer.draw(actor, info?.walker ?? 'none', checked, this.point, editable, note);
    this.list.draw(this.layer.drawing, this.point, editable);
    this.settings.draw(editable ? actor?.route ?? null : null, this.rules);
    $('edit-refusal').textContent = info?.refusal ?? '';
    $('edit-refusal').hidden = !info?.refusal;
    for (const b of document.querySelectorAll<HTMLButtonElement>('#edit-tools button')) b.disabled = !editable;
    ($('snap') as HTMLInputElement).disabled = !editable;
  }

  private editable(): boolean {
    const { actor, info } = this.host.selected();
    return !!actor && !!info && !info.refusal && info.walker !== 'none';
  }

  private snap(): boolean {
    return ($('snap') as HTMLInputElement).checked;
  }

  private selectPoint(n: number): void {
    this.point = n;
    this.draw();
  }

  private setAdding(on: boolean): void {
    this.adding = on;
    $('add-mode').setAttribute('aria-pressed', String(on));
    this.map.getContainer().classList.toggle('adding', on);
  }

  // One command; whatever the answer, the package is fetched again so the map shows what the server holds.
  private async edit(method: string, params: Record<string, unknown>, where: Where): Promise<EditAnswer | null> {
    this.clearRefusals();
    const answer = await rpc(method, { package: this.host.pkg(), ...params });
    await this.host.reload();
    if (!answer.ok) {
      this.refuse(answer.error, where);
      this.host.refused(answer.error);
      return null;
    }
    // Taken, but with warnings (a misspelt parameter that was ignored): shown where a refusal would be.
    const warnings = readWarnings(answer.result);
    if (warnings.length > 0) this.warn(warnings.join('; '), where);
    return readEdit(answer.result);
  }

  private pointHeight(n: number | null): number {
    const points = this.layer.drawing.points;
    const p = points.find((q) => q.number === n) ?? points[points.length - 1];
    return p?.at.y ?? this.host.selected().actor?.position?.y ?? 0;
  }

  // The height for a point placed at `at`: the ground's when snapping finds it, else `fallback`.
  private async heightAt(at: { x: number; z: number }, fallback: number): Promise<{ y: number; note: string }> {
    if (!this.snap()) return { y: fallback, note: '' };
    const y = placedHeight(true, this.ground.known, this.ground.top, fallback);
    const answer = await rpc('ground_point', { package: this.host.pkg(), position: { x: at.x, y, z: at.z } });
    const ground = answer.ok ? readGroundPoint(answer.result) : { y: null, note: answer.error };
    return ground.y !== null ? { y: ground.y, note: '' } : { y: fallback, note: ground.note };
  }

  private async addAt(at: { x: number; z: number }, after: number | null): Promise<void> {
    const id = this.host.selected().actor!.id;
    const { y } = await this.heightAt(at, this.pointHeight(after));
    const params: Record<string, unknown> = { id, position: { x: at.x, y, z: at.z } };
    if (after !== null) params.after = after;
    if (!this.snap()) params.snap = false;
    this.placed(await this.edit('add_route_point', params, at));
  }

  private async moveTo(n: number, at: { x: number; z: number }): Promise<void> {
    this.point = n; // drawn as selected with the answer; redrawing now would drop the dragged marker
    const id = this.host.selected().actor!.id;
    const { y, note } = await this.heightAt(at, this.pointHeight(n));
    const done = await this.edit('move_route_point', { id, point: n, position: { x: at.x, y, z: at.z } }, at);
    if (done) this.placed({ ...done, point: n, snapNote: note });
  }

  private async placeAt(place: 'link' | 'camera', move: boolean, button: HTMLElement): Promise<void> {
    const id = this.host.selected().actor!.id;
    const params: Record<string, unknown> = { id, at: place };
    if (!this.snap()) params.snap = false;
    if (move) {
      if (this.point === null || this.point < 1) return this.refuse('select a route point to move first', button);
      params.point = this.point;
      const done = await this.edit('move_route_point', params, button);
      if (done) this.placed({ ...done, point: this.point });
      return;
    }
    if (this.point !== null) params.after = this.point;
    this.placed(await this.edit('add_route_point', params, button));
  }

  // After a point was added or moved: it is selected, with the snap note beside it when there is one.
  private placed(answer: EditAnswer | null): void {
    if (!answer || answer.point === null) return;
    this.point = answer.point;
    this.note = answer.snapNote ? { point: answer.point, text: answer.snapNote } : null;
    this.draw();
  }

  private async removePoint(): Promise<void> {
    const button = $('remove-point');
    const actor = this.host.selected().actor!;
    if (this.point === null || this.point < 1) return this.refuse('select a route point to remove first', button);
    const removed = this.point;
    const done = await this.edit('remove_route_point', { id: actor.id, point: removed }, button);
    if (!done) return;
    const left = this.host.selected().actor?.route?.points.length ?? 0;
    this.point = done.routeRemoved ? null : selectionAfterRemoval(removed, left);
    this.note = null;
    if (done.routeRemoved) this.notice(`The route of ${actor.id} was removed: it had fewer points than it needs`, button);
    this.draw();
  }

  private async removeRoute(): Promise<void> {
    const actor = this.host.selected().actor!;
    if (!(await this.edit('remove_route', { id: actor.id }, $('remove-route')))) return;
    this.point = null;
    this.notice(`The route of ${actor.id} was removed`, $('remove-route'));
    this.draw();
  }

  private async reorder(point: number, to: number, where: HTMLElement): Promise<void> {
    const id = this.host.selected().actor!.id;
    const selected = this.point;
    if (!(await this.edit('reorder_route_point', { id, point, to }, where))) return;
    if (this.point !== selected) return; // the modder chose another point while the server answered
    this.point = to;
    this.draw();
    this.list.focusSelected();
  }

  private async setField(field: FieldName, value: unknown, input: HTMLElement): Promise<void> {
    const id = this.host.selected().actor!.id;
    await this.edit('set_route', { id, [field]: value }, input);
  }

  private async undoRedo(method: 'undo' | 'redo'): Promise<void> {
    await this.edit(method, {}, $(method));
  }

  private hoverRoute(at: { x: number; z: number } | null): void {
    const near = at ? nearestOnWalk(this.layer.drawing, at) : null;
    this.profile.showDistance(near ? near.distance : null);
    this.layer.showCursor(near ? alongWalk(this.layer.drawing, near.distance) : null);
  }

  private refuse(text: string, where: Where): void {
    this.tell(text, where, 'refusal');
  }

  private warn(text: string, where: Where): void {
    this.tell(text, where, 'warning');
  }

  // A refusal or a warning where the modder acted: the box of that group of controls, or a popup on the map.
  private tell(text: string, where: Where, kind: 'refusal' | 'warning'): void {
    if (where instanceof HTMLElement) return this.notice(text, where, kind === 'refusal', kind === 'warning');
    const content = document.createElement('div');
    content.textContent = kind === 'warning' ? `Warning: ${text}` : text;
    content.setAttribute('role', 'alert');
    content.dataset[kind] = text;
    L.popup({ className: 'refusal-popup', autoPan: false }).setLatLng(L.latLng(...worldToLatLng(where)))
      .setContent(content).openOn(this.map);
  }

  // A text in the box of the group of controls where the modder acted.
  private notice(text: string, where: HTMLElement, refusal = false, warning = false): void {
    const box = where.closest('.edit-group')?.querySelector<HTMLElement>('.refusal');
    if (!box) return this.host.say(warning ? `Warning: ${text}` : text);
    box.textContent = warning ? `Warning: ${text}` : text;
    box.hidden = false;
    box.classList.toggle('refused', refusal);
    if (refusal) box.dataset.refusal = text;
    if (warning) box.dataset.warning = text;
  }

  private clearRefusals(): void {
    this.map.closePopup();
    for (const box of document.querySelectorAll<HTMLElement>('.edit-group .refusal')) {
      box.hidden = true;
      box.textContent = '';
      delete box.dataset.refusal;
      delete box.dataset.warning;
    }
  }

  private wireButtons(): void {
    const on = (id: string, run: () => void) => $(id).addEventListener('click', run);
    on('add-mode', () => this.setAdding(!this.adding));
    on('add-link', () => void this.placeAt('link', false, $('add-link')));
    on('add-camera', () => void this.placeAt('camera', false, $('add-camera')));
    on('move-link', () => void this.placeAt('link', true, $('move-link')));
    on('move-camera', () => void this.placeAt('camera', true, $('move-camera')));
    on('remove-point', () => void this.removePoint());
    on('remove-route', () => void this.removeRoute());
    on('undo', () => void this.undoRedo('undo'));
    on('redo', () => void this.undoRedo('redo'));
    on('history-toggle', () => this.toggle('history-panel', 'history-toggle'));
    on('help-toggle', () => this.toggle('help-panel', 'help-toggle'));
  }

  private toggle(panel: string, button: string, open = $(panel).hidden): void {
    $(panel).hidden = !open;
    $(button).setAttribute('aria-expanded', String(open));
  }

  private onKey(e: KeyboardEvent): void {
    const target = e.target as HTMLElement;
    const typing = target.matches('input:not([type=checkbox]), select, textarea');
    const action = actionFor({ key: e.key, ctrl: e.ctrlKey || e.metaKey, shift: e.shiftKey, alt: e.altKey }, typing);
    if (!action || action === 'play-pause') return; // the timeline bar's key
    e.preventDefault();
    this.run(action);
  }

  private run(action: Action): void {
    const editing = this.editable();
    const points = this.layer.drawing.points.filter((p) => p.number >= 1).map((p) => p.number);
    const step = (by: -1 | 1) => {
      const i = this.point === null ? (by > 0 ? -1 : points.length) : points.indexOf(this.point);
      const next = points[i + by];
      if (next !== undefined) this.selectPoint(next);
      this.list.focusSelected();
    };
    const reorderBy = (by: -1 | 1) => {
      const r = this.point === null ? null : stepReorder(this.point, by, points.length);
      if (r) void this.reorder(r.point, r.to, $('point-list'));
    };
    const editActions: Partial<Record<Action, () => void>> = {
      'toggle-adding': () => this.setAdding(!this.adding),
      'toggle-snap': () => (($('snap') as HTMLInputElement).checked = !this.snap()),
      'remove-point': () => void this.removePoint(),
      'remove-route': () => void this.removeRoute(),
      'previous-point': () => step(-1),
      'next-point': () => step(1),
      'point-earlier': () => reorderBy(-1),
      'point-later': () => reorderBy(1),
      'add-at-link': () => void this.placeAt('link', false, $('add-link')),
      'add-at-camera': () => void this.placeAt('camera', false, $('add-camera')),
      'move-to-link': () => void this.placeAt('link', true, $('move-link')),
      'move-to-camera': () => void this.placeAt('camera', true, $('move-camera')),
    };
    if (editActions[action]) return editing ? editActions[action]!() : undefined;
    if (action === 'undo' || action === 'redo') return void this.undoRedo(action);
    if (action === 'check-route' && this.host.selected().actor) return void this.host.checkRoute();
    if (action === 'search') return $('search').focus();
    if (action === 'history') return this.toggle('history-panel', 'history-toggle');
    if (action === 'help') return this.toggle('help-panel', 'help-toggle');
    if (action === 'escape') {
      this.setAdding(false);
      this.toggle('help-panel', 'help-toggle', false);
      this.toggle('history-panel', 'history-toggle', false);
    }
  }

  private drawHelp(): void {
    const table = $('help-keys');
    for (const s of SHORTCUTS) {
      const row = document.createElement('tr');
      const key = document.createElement('th');
      key.append(Object.assign(document.createElement('kbd'), { textContent: s.keys }));
      row.append(key, Object.assign(document.createElement('td'), { textContent: s.what }));
      table.append(row);
    }
  }
}
