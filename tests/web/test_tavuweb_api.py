# The console's API and pushed messages against a real service: the emulated recorder, and a
# simulated one for several ports and recovery.
import os
import signal

from conftest import eventually, pixel

# A window of the whole 16-bit range maps value v to v * 255 // 65535.
FULL = {'low': 0, 'high': 65535}


def test_access_needs_the_token_and_the_console_own_host_and_origin(console):
    port = console.base.rsplit(':', 1)[1]
    evil = {'Origin': 'http://evil.example'}
    cases = [
        ('no token', 'GET', '/api/state', None, {}, False, 401),
        ('wrong token', 'GET', '/?token=0123', None, {}, False, 401),
        ('token in the address', 'GET', f'/?token={console.token}', None, {}, False, 303),
        ('page with the token', 'GET', '/', None, {}, True, 200),
        ('another host name', 'GET', '/api/state', None, {'Host': f'evil.example:{port}'}, True, 421),
        ('a post from another site', 'POST', '/api/devices/0/setup', b'', evil, True, 403),
        ('a body too large', 'POST', '/api/devices/0/setup', b'x' * 300000, {}, True, 413),
        ('a path out of the page', 'GET', '/../../etc/passwd', None, {}, True, 404),
        ('an unknown call', 'GET', '/api/nothing', None, {}, True, 404),
    ]
    for name, method, path, body, headers, token, expected in cases:
        status, reply_headers, _ = console.request(method, path, body, headers, token)
        assert status == expected, name
        if status == 303:
            cookie = reply_headers['Set-Cookie']
            assert console.token in cookie and 'HttpOnly' in cookie
    status, _, data = console.request('GET', '/api/state', headers={'Cookie': cookie.split(';')[0]}, token=False)
    assert status == 200 and b'"kind":"state"' in data
    for name, kwargs in [('foreign origin', {'origin': 'http://evil.example'}), ('no token', {'token': False})]:
        try:
            console.socket(**kwargs)
            raise AssertionError(f'{name}: the WebSocket was accepted')
        except Exception as error:  # the handshake fails with the console's 403
            assert '403' in str(error), name


def test_emulator_pair_configure_record_play_edit_and_remove(console):
    page = console.socket()
    state = page.next('state', lambda m: m['devices'])
    assert state['devices'][0]['name'] == 'Emulator' and state['devices'][0]['ports'][0]['name'] == 'Emu'
    refusals = [
        ('POST', 'devices/0/ports/0/config', {'width': 0, 'height': 256}, 400, 'width must be from 1 to 65535, not 0'),
        ('POST', 'devices/0/ports/0/pair', {'camera': ''}, 400, "the camera's name is empty"),
        ('POST', 'devices/0/record', {'ports': []}, 400, 'choose at least one port to record'),
        ('POST', 'devices/0/record', {'ports': [0], 'stop': 'frames', 'count': 30}, 409,
         'Starting the recording failed: Not paired/configured.'),
        ('POST', 'devices/7/stop', None, 409, 'Stopping the recording failed: Invalid device index.'),
    ]
    for method, path, body, status, words in refusals:
        assert console.api(method, path, body, expect=status) == {'error': words}

    console.api('POST', 'devices/0/ports/0/pair', {'camera': 'cam1'})
    page.next('event', lambda m: m['name'] == 'PairingChanged')
    page.next('device', lambda m: m['device']['ports'][0]['camera'] == 'cam1')
    console.api('POST', 'devices/0/ports/0/config', {'width': 256, 'height': 256})
    page.next('device', lambda m: m['device']['ports'][0]['config']['width'] == 256)

    # The emulator has no trigger input: it takes a recording that waits for one and never starts
    # it, and the console shows it waiting until a stop finds nothing to stop.
    console.api('POST', 'devices/0/record', {'ports': [0], 'stop': 'frames', 'count': 30, 'trigger': 'external'})
    assert page.next('recording')['recording']['waitsForTrigger']
    assert console.api('POST', 'devices/0/stop', expect=409) == {'error': 'Stopping the recording failed: Not recording'}
    assert page.next('recordingEnded')['reason'] == 'could not be stopped (Not recording)'

    console.api('POST', 'devices/0/record', {'ports': [0], 'stop': 'frames', 'count': 30})
    page.next('event', lambda m: m['name'] == 'RecordingStarted' and m['port'] == 1)
    page.next('recording', lambda m: m['recording']['ports'][0]['frames'] > 0)
    ended = page.next('recordingEnded')
    assert (ended['reason'], ended['short'], ended['ports'][0]['frames']) == ('reached its limit', False, 30)
    files = page.next('files')['files']
    assert [(f['name'], f['numFrames'], f['camera']) for f in files] == [('1', 30, 'cam1')]

    # Frame 10 through the full window: past the header row, pixel i holds the ramp's i.
    status, headers, frame = console.request('GET', '/api/devices/0/files/1/0/frames/10?low=0&high=65535')
    grey, header = pixel(frame, 100, 50)
    assert (status, header['frame'], header['outWidth'], grey) == (200, 10, 256, (50 * 256 + 100) * 255 // 65535)
    assert console.api('GET', 'devices/0/files/1/0/frames/30', expect=409)['error'].endswith('Invalid frame index')
    for extension, magic in [('png', b'\x89PNG'), ('tiff', b'II*\x00')]:
        status, headers, data = console.request('GET', f'/api/devices/0/files/1/0/frames/10.{extension}')
        assert status == 200 and data.startswith(magic), extension
        assert f'frame-10.{extension}' in headers['Content-Disposition']
    assert data != b'' and int.from_bytes(console.request('GET', '/api/devices/0/files/1/0/frames/3.png')[2][24:25],
                                           'big') == 16

    console.api('POST', 'devices/0/files/1/0/rename', {'name': 'first'})
    page.next('event', lambda m: m['name'] == 'FilesChanged')
    assert page.next('files')['files'][0]['name'] == 'first'
    edit = {'name': 'second', 'width': 256, 'height': 256, 'numFrames': 30, 'numDroppedFrames': 2, 'duration': 9}
    assert console.api('POST', 'devices/0/files/1/0/info', edit) == {'name': 'second'}
    assert page.next('files')['files'][0]['numDroppedFrames'] == 2
    console.api('DELETE', 'devices/0/files/1/0')
    assert page.next('files')['files'] == []
    assert console.api('DELETE', 'devices/0/files/1/0', expect=409) == {
        'error': 'Removing recording 1/0 failed: Invalid fileId'}


def test_live_view_is_shared_windowed_and_runs_on_while_recording(console):
    page, other = console.socket(), console.socket()
    page.send({'op': 'live', 'device': 0, 'port': 0})
    assert 'Live view of port 0 of device 0 failed' in page.next('liveError')['text']
    console.api('POST', 'devices/0/ports/0/pair', {'camera': 'cam1'})
    console.api('POST', 'devices/0/ports/0/config', {'width': 256, 'height': 256})
    for socket in (page, other):
        socket.send({'op': 'live', 'device': 0, 'port': 0, 'display': {'window': FULL}})
    # A 256 x 256 live frame is one turn of the ramp: pixel i holds i in every frame.
    grey, header = pixel(page.next('frame'), 100, 50)
    assert (grey, header['outWidth'], header['low'], header['high']) == ((50 * 256 + 100) * 255 // 65535, 256, 0, 65535)
    other.next('frame')
    # Zoom: a 16 x 16 part at (100, 50), 1:1.
    page.send({'op': 'display', 'display': {'x': 100, 'y': 50, 'width': 16, 'height': 16, 'window': FULL}})
    page.send({'op': 'ack'})
    grey, header = pixel(page.next('frame', lambda m: pixel(m, 0, 0)[1]['outWidth'] == 16), 0, 0)
    assert (header['x'], header['y'], grey) == (100, 50, (50 * 256 + 100) * 255 // 65535)

    console.api('POST', 'devices/0/record', {'ports': [0], 'stop': 'none'})
    page.next('recording', lambda m: m['recording']['ports'][0]['frames'] > 3)
    for _ in range(3):
        page.send({'op': 'ack'})
        page.next('frame')
    console.api('POST', 'devices/0/stop')
    assert page.next('recordingEnded')['reason'] == 'stopped from the console'
    page.send({'op': 'liveStop'})
    other.close()
    page.close()


def test_simulated_recorder_records_two_ports_and_recovers_a_cut_off_recording(sim_console):
    console = sim_console
    page = console.socket()
    device = page.next('state', lambda m: m['devices'])['devices'][0]
    assert (device['name'], device['connected'], [p['name'] for p in device['ports']]) == ('REC-A', True, ['A1', 'A2'])
    # Unplugged and plugged in again: every page sees it at once.
    for connected in (False, True):
        console.describe(connected)
        page.next('event', lambda m: m['name'] == 'DevicesChanged')
        assert page.next('state')['devices'][0]['connected'] is connected
    for port in (0, 1):
        console.api('POST', f'devices/0/ports/{port}/config', {'width': 64, 'height': 32})
        console.api('POST', f'devices/0/ports/{port}/pair', {'camera': f'cam{port}'})
    console.api('POST', 'devices/0/record', {'ports': [0, 1], 'stop': 'frames', 'count': 10})
    ended = page.next('recordingEnded')
    assert (ended['reason'], [p['frames'] for p in ended['ports']]) == ('reached its limit', [10, 10])
    files = page.next('files')['files']
    first = next(f for f in files if f['port'] == 'A1')
    # Pixel (x, y) of frame f is f + x + 2y: a window of 0..255 shows it as it is.
    frame = console.request('GET', f'/api/devices/0/files/{first["fileId"]}/{first["streamId"]}/frames/8?low=0&high=255')[2]
    assert pixel(frame, 5, 3)[0] == 8 + 5 + 6

    console.api('POST', 'devices/0/record', {'ports': [0], 'stop': 'none'})
    page.next('recording', lambda m: m['recording']['ports'][0]['frames'] >= 20)
    for pid in console.service_pids():
        os.kill(pid, signal.SIGKILL)
    page.next('service', lambda m: not m['connected'])
    # The console starts a new service and finds the cut-off recording.
    assert page.next('state', lambda m: m['devices'] and m['devices'][0]['incomplete'])['recordings'] == []
    console.api('POST', 'devices/0/recover')
    assert page.next('recovery', lambda m: m['status'] == 'done')['device'] == 0
    assert len(page.next('files', lambda m: len(m['files']) == 3)['files']) == 3
    assert eventually(lambda: console.api('GET', 'state')['devices'][0]['incomplete'] is False)
