// The recordings of the selected device: a sortable table with rename, edit and remove.
import { act, api, element } from './api.js';
import { openPlayer } from './player.js';
import { selectedDevice, store } from './store.js';

let sortKey = 'timestamp';
let ascending = false;

// 100 ns units since 1601 to a local date and time.
export function recordedAt(timestamp) {
  if (!timestamp) return '';
  return new Date(timestamp / 10000 - 11644473600000).toLocaleString();
}

function megabytes(bytes) { return `${(bytes / 1048576).toFixed(1)} MiB`; }

function renameCell(device, file, cell) {
  const input = element('input', { value: file.name, name: 'new-name' });
  const save = element('button', { type: 'button', textContent: 'Save' });
  const cancel = element('button', { type: 'button', textContent: 'Cancel' });
  cell.replaceChildren(input, save, cancel);
  input.focus();
  input.select();
  const commit = () => {
    if (!input.value.trim()) { input.classList.add('invalid'); return; }
    act(() => api('POST', `devices/${device}/files/${file.fileId}/${file.streamId}/rename`, { name: input.value.trim() }));
  };
  save.onclick = commit;
  input.onkeydown = (event) => { if (event.key === 'Enter') commit(); if (event.key === 'Escape') renderRecordings(); };
  cancel.onclick = () => renderRecordings();
}

function edit(device, file) {
  const dialog = document.getElementById('edit-dialog');
  const form = document.getElementById('edit-form');
  const fields = ['name', 'width', 'height', 'numFrames', 'numDroppedFrames', 'startTime', 'endTime', 'duration'];
  for (const key of fields) form.elements[key].value = file[key];
  document.getElementById('edit-problem').textContent = '';
  document.getElementById('edit-save').onclick = (event) => {
    event.preventDefault();
    const body = {};
    for (const key of fields) {
      const input = form.elements[key];
      if (key === 'name') {
        if (!input.value.trim()) { document.getElementById('edit-problem').textContent = 'The name is empty.'; return; }
        body.name = input.value.trim();
        continue;
      }
      const value = Number(input.value);
      if (input.value === '' || !Number.isSafeInteger(value) || value < 0 || !input.checkValidity()) {
        document.getElementById('edit-problem').textContent = `${input.closest('label').textContent.trim()}: not a whole number in range.`;
        return;
      }
      body[key] = value;
    }
    act(async () => {
      await api('POST', `devices/${device}/files/${file.fileId}/${file.streamId}/info`, body);
      dialog.close();
    });
  };
  dialog.showModal();
}

function remove(device, file) {
  if (!confirm(`Remove the recording "${file.name}" (${file.numFrames} frames)? This cannot be undone.`)) return;
  act(() => api('DELETE', `devices/${device}/files/${file.fileId}/${file.streamId}`));
}

export function renderRecordings() {
  const device = selectedDevice();
  const body = document.querySelector('#recordings tbody');
  body.replaceChildren();
  for (const th of document.querySelectorAll('#recordings th[data-key]')) {
    th.classList.toggle('sorted-up', th.dataset.key === sortKey && ascending);
    th.classList.toggle('sorted-down', th.dataset.key === sortKey && !ascending);
  }
  if (!device) return;
  const files = [...(store.files.get(device.index) || [])];
  files.sort((a, b) => {
    const order = typeof a[sortKey] === 'string' ? a[sortKey].localeCompare(b[sortKey]) : a[sortKey] - b[sortKey];
    return ascending ? order : -order;
  });
  for (const file of files) {
    const name = element('td', { className: 'name', textContent: file.name });
    const button = (label, action) => element('button', { type: 'button', textContent: label, onclick: action });
    const row = element('tr', { dataset: { fileId: file.fileId, streamId: file.streamId } },
      name,
      element('td', { textContent: file.port }),
      element('td', { textContent: file.camera }),
      element('td', { textContent: file.numFrames }),
      element('td', { textContent: file.numDroppedFrames }),
      element('td', { textContent: `${file.width}×${file.height}` }),
      element('td', { textContent: megabytes(file.size) }),
      element('td', { textContent: recordedAt(file.timestamp) }),
      element('td', {},
        button('Open', () => openPlayer(device.index, file)),
        button('Rename', () => renameCell(device.index, file, name)),
        button('Edit', () => edit(device.index, file)),
        button('Remove', () => remove(device.index, file))));
    body.append(row);
  }
}

export function setupRecordings() {
  for (const th of document.querySelectorAll('#recordings th[data-key]')) {
    th.onclick = () => {
      if (sortKey === th.dataset.key) ascending = !ascending;
      else { sortKey = th.dataset.key; ascending = true; }
      renderRecordings();
    };
  }
}
