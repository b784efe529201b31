// The changed-outside banner: shown when a refusal says the package file was changed outside the editor,
// or when `status` lists the package's conflict, with the reason and the waiting changes a reload sets
// aside; its "Reload" button calls `reload`, then says what was set aside and has the page fetch
// everything again. Owns the banner's elements; single-threaded.

import { rpc } from './api.js';
import { changedOutside, readConflict, reloadNote } from '../core/answers.js';

const $ = (id: string) => document.getElementById(id) as HTMLElement;

export class OutsideBanner {
  constructor(private pkg: () => string, private reloaded: () => Promise<void>) {
    $('reload-package').addEventListener('click', () => void this.reload());
  }

  // Shows the banner when `status` lists the package's conflict (waiting changes met a hand edit).
  async check(): Promise<void> {
    const status = await rpc('status');
    const conflict = status.ok ? readConflict(status.result, this.pkg()) : null;
    if (conflict) this.show(conflict.problem, conflict.waiting);
  }

  // After a refused command: a refusal that says the file was changed outside shows the banner.
  async refused(error: string): Promise<void> {
    if (!changedOutside(error)) return;
    const status = await rpc('status');
    const conflict = status.ok ? readConflict(status.result, this.pkg()) : null;
    this.show(conflict?.problem ?? error, conflict?.waiting ?? []);
  }

  // The package was reloaded elsewhere (another page, `call reload`): the banner no longer holds.
  reloadedElsewhere(): void {
    $('outside').hidden = true;
  }

  private show(problem: string, waiting: string[]): void {
    $('outside-reason').textContent = problem;
    $('outside-waiting').textContent = waiting.length
      ? `Reloading sets aside the changes waiting to be saved: ${waiting.join('; ')}`
      : 'Reloading takes the file as it is now.';
    $('reload-note').hidden = true;
    $('outside').hidden = false;
  }

  private async reload(): Promise<void> {
    const answer = await rpc('reload', { package: this.pkg() });
    const note = $('reload-note');
    note.hidden = false;
    note.textContent = answer.ok ? reloadNote(this.pkg(), answer.result) : `Reload: ${answer.error}`;
    if (!answer.ok) return;
    $('outside').hidden = true;
    for (const box of document.querySelectorAll<HTMLElement>('[data-refusal]')) {
      if (!changedOutside(box.dataset.refusal ?? '')) continue;
      box.hidden = true; // the refusal that asked for this reload no longer holds
      delete box.dataset.refusal;
    }
    await this.reloaded();
  }
}
