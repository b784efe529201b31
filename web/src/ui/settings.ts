// The route's settings form: mode, speed, pauses and, for models, the walk and idle animations. Each field
// the actor's walker may not set is disabled with the server's own reason beside it (from route_fields).
// A change sends one set_route through `onChange`; the form always shows what the server stored.

import type { Route } from '../core/model.js';
import type { FieldName, Fields } from '../core/edit.js';
import { FIELD_NAMES } from '../core/edit.js';

type Input = HTMLInputElement | HTMLSelectElement;

export class SettingsForm {
  onChange: (field: FieldName, value: unknown, input: HTMLElement) => void = () => {};
  private inputs = {} as Record<FieldName, Input>;
  private typing = new Set<FieldName>(); // fields with text not yet sent: a redraw leaves them alone

  constructor(private form: HTMLElement) {
    for (const name of FIELD_NAMES) {
      const input = form.querySelector<Input>(`[name="${name}"]`)!;
      this.inputs[name] = input;
      input.addEventListener('input', () => this.typing.add(name));
      input.addEventListener('change', () => {
        this.typing.delete(name);
        this.onChange(name, this.valueOf(name), input);
      });
    }
  }

  // The route as stored, and which fields may be set (null while the server has not said).
  draw(route: Route | null, rules: Fields | null): void {
    const r = route ?? { mode: 'once', points: [] };
    const shown: Record<FieldName, string> = {
      mode: r.mode,
      speed: r.speed === undefined ? '' : String(r.speed),
      pauses: typeof r.pauses === 'number' ? String(r.pauses) : r.pauses ? '1' : '0',
      walk: r.walk ?? '',
      idle: r.idle ?? '',
    };
    for (const name of FIELD_NAMES) {
      if (!this.typing.has(name)) this.inputs[name].value = shown[name];
      const rule = rules?.fields[name];
      const disabled = !route || !rule?.maySet;
      this.inputs[name].disabled = disabled;
      const reason = this.form.querySelector<HTMLElement>(`[data-reason="${name}"]`)!;
      reason.textContent = !route ? '' : rule && !rule.maySet ? rule.refusal : '';
      this.inputs[name].title = reason.textContent ?? '';
    }
  }

  // What set_route gets for a field: an empty speed clears it (the type's own pace), pauses 0 removes them,
  // an empty animation name removes it.
  private valueOf(name: FieldName): unknown {
    const text = this.inputs[name].value.trim();
    if (name === 'speed') return text === '' ? null : Number(text);
    if (name === 'pauses') return text === '' || Number(text) === 0 ? false : Number(text);
    return text;
  }
}
