// The console's WebSocket: every change of the service arrives here, and live frames.

const handlers = new Map();
let socket = null;
let retry = 500;

export function on(kind, handler) {
  if (!handlers.has(kind)) handlers.set(kind, []);
  handlers.get(kind).push(handler);
}

function dispatch(kind, message) {
  for (const handler of handlers.get(kind) || []) handler(message);
}

export function send(message) {
  if (socket && socket.readyState === WebSocket.OPEN) socket.send(JSON.stringify(message));
}

export function connect() {
  socket = new WebSocket(`ws://${location.host}/ws`);
  socket.binaryType = 'arraybuffer';
  socket.onopen = () => { retry = 500; dispatch('open', {}); };
  socket.onmessage = (event) => {
    if (typeof event.data !== 'string') {
      dispatch('frame', event.data);
      return;
    }
    const message = JSON.parse(event.data);
    dispatch(message.kind, message);
  };
  socket.onclose = () => {
    dispatch('closed', {});
    setTimeout(connect, retry);
    retry = Math.min(retry * 2, 5000);
  };
}
