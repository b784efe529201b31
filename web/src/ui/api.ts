// The page's link to `pathwright map`: the session cookie from the address's token, JSON-RPC over
// POST /rpc and the event stream. Owns no state beyond the request counter; single-threaded.

export interface RpcAnswer { ok: boolean; result?: unknown; error: string }

// Trades the token in the address (#token=...) for the session cookie, then removes it from the address.
// On failure the page cannot call anything: the answer says why.
export async function openSession(): Promise<RpcAnswer> {
  const token = new URLSearchParams(location.hash.slice(1)).get('token');
  if (!token) return { ok: true, error: '' }; // an earlier visit's cookie may still be valid
  const answer = await fetch('/session', { method: 'POST', headers: { Authorization: `Bearer ${token}` } });
  history.replaceState(null, '', location.pathname + location.search);
  if (answer.status !== 204) return { ok: false, error: `the map refused the token (HTTP ${answer.status})` };
  return { ok: true, error: '' };
}

let nextId = 1;

// One JSON-RPC call. Success: `result`. Failure: the server's error text, or what went wrong on the way.
export async function rpc(method: string, params: Record<string, unknown> = {}): Promise<RpcAnswer> {
  try {
    const body = JSON.stringify({ jsonrpc: '2.0', id: nextId++, method, params });
    const answer = await fetch('/rpc', { method: 'POST', headers: { 'Content-Type': 'application/json' }, body });
    if (!answer.ok) return { ok: false, error: `${method}: HTTP ${answer.status}` };
    const reply = await answer.json();
    if (reply.error) return { ok: false, error: String(reply.error.message ?? reply.error) };
    return { ok: true, result: reply.result, error: '' };
  } catch (e) {
    return { ok: false, error: `${method}: ${(e as Error).message}` };
  }
}

export type EventHandler = (name: string, data: unknown) => void;

// The server's events for one package; the browser reconnects by itself with Last-Event-ID.
export function listen(pkg: string, handle: EventHandler): EventSource {
  const source = new EventSource(`/events?package=${encodeURIComponent(pkg)}`);
  for (const name of ['game', 'change', 'live', 'reload']) {
    source.addEventListener(name, (e) => {
      try {
        handle(name, JSON.parse((e as MessageEvent).data));
      } catch {
        handle('bad', (e as MessageEvent).data);
      }
    });
  }
  return source;
}
