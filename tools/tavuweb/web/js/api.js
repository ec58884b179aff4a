// Calls of the console's API and the page's error list.

export class ApiError extends Error {}

// Sends one call; resolves with the reply's JSON, or rejects with the console's words.
export async function api(method, path, body) {
  const options = { method, headers: {} };
  if (body !== undefined) {
    options.headers['Content-Type'] = 'application/json';
    options.body = JSON.stringify(body);
  }
  let response;
  try {
    response = await fetch(`/api/${path}`, options);
  } catch (error) {
    throw new ApiError(`The console did not answer (${error.message}). Is tavuweb still running?`);
  }
  const text = await response.text();
  let value = {};
  try { value = text ? JSON.parse(text) : {}; } catch { value = { error: text }; }
  if (!response.ok) {
    throw new ApiError(value.error || `${response.status} ${response.statusText}`);
  }
  return value;
}

// Fetches a frame as the page shows it (see display.js).
export async function fetchBinary(path) {
  const response = await fetch(`/api/${path}`);
  if (!response.ok) {
    const text = await response.text();
    let message = text;
    try { message = JSON.parse(text).error || text; } catch { /* the text as it came */ }
    throw new ApiError(message);
  }
  return response.arrayBuffer();
}

export function showError(text) {
  const box = document.createElement('div');
  box.className = 'error';
  box.setAttribute('role', 'alert');
  const words = document.createElement('span');
  words.textContent = text;
  const close = document.createElement('button');
  close.textContent = '×';
  close.title = 'Dismiss';
  close.onclick = () => box.remove();
  box.append(words, close);
  const list = document.getElementById('errors');
  list.prepend(box);
  while (list.children.length > 5) list.lastChild.remove();
}

// Runs an action of a button: its failure is shown in words, never dropped.
export async function act(action) {
  try {
    return await action();
  } catch (error) {
    showError(error.message);
    return undefined;
  }
}

export function element(tag, properties = {}, ...children) {
  const node = document.createElement(tag);
  for (const [key, value] of Object.entries(properties)) {
    if (key === 'dataset') Object.assign(node.dataset, value);
    else if (key in node) node[key] = value;
    else node.setAttribute(key, value);
  }
  node.append(...children);
  return node;
}
