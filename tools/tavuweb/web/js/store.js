// What the page knows of the service, kept current by the console's messages.

export const store = {
  service: { connected: false, problem: '' },
  devices: new Map(),      // index -> device
  recordings: new Map(),   // device -> its recording, running or, with .ended, the last one
  recoveries: new Map(),   // device -> recovery progress
  files: new Map(),        // device -> recordings list
  selected: null,          // { device, port }
};

const listeners = [];

export function onChange(listener) { listeners.push(listener); }

export function changed(what) { for (const listener of listeners) listener(what); }

export function selectedDevice() {
  return store.selected ? store.devices.get(store.selected.device) : undefined;
}

export function selectedPort() {
  const device = selectedDevice();
  return device && device.ports ? device.ports[store.selected.port] : undefined;
}
