# The page in a real headless browser, on the emulated recorder: what a user does first.
import os
import pathlib
import time

import pytest
from selenium import webdriver
from selenium.webdriver.chrome.service import Service
from selenium.webdriver.common.by import By
from selenium.webdriver.support.ui import WebDriverWait

OUTPUT = pathlib.Path(os.environ.get('TAVUWEB_TEST_OUTPUT', 'tavuweb-test-output'))


@pytest.fixture
def browser():
    options = webdriver.ChromeOptions()
    for argument in ['--headless=new', '--no-sandbox', '--disable-dev-shm-usage', '--window-size=1400,1600',
                     '--force-device-scale-factor=1']:
        options.add_argument(argument)
    driver = webdriver.Chrome(service=Service('/usr/bin/chromedriver'), options=options)
    yield driver
    driver.quit()


def canvas_grey(driver, selector, x, y):
    return driver.execute_script(
        'const c = document.querySelector(arguments[0]);'
        'return c.getContext("2d").getImageData(arguments[1], arguments[2], 1, 1).data[0];', selector, x, y)


def test_configure_record_watch_live_play_rename_and_remove(console, browser):
    wait = WebDriverWait(browser, 20, poll_frequency=0.05)
    find = browser.find_element

    def fill(form, name, value):
        field = find(By.CSS_SELECTOR, f'#{form} [name={name}]')
        field.clear()
        field.send_keys(str(value))

    try:
        browser.get(f'{console.base}/?token={console.token}')
        wait.until(lambda d: 'Emulator' in find(By.ID, 'devices').text)
        fill('port-form', 'camera', 'cam1')
        find(By.ID, 'pair-button').click()
        fill('port-form', 'width', 0)
        find(By.ID, 'config-button').click()
        assert 'Width' in find(By.ID, 'port-problem').text
        fill('port-form', 'width', 256)
        fill('port-form', 'height', 256)
        find(By.ID, 'config-button').click()
        wait.until(lambda d: 'cam1' in find(By.ID, 'devices').text and '256×256' in find(By.ID, 'devices').text)

        fill('record-form', 'count', 30)
        find(By.ID, 'record-start').click()
        wait.until(lambda d: d.find_elements(By.CSS_SELECTOR, '#progress .bar[data-fraction="1"]'))
        wait.until(lambda d: 'reached its limit' in find(By.ID, 'progress').text)

        # Live: with the window over the whole range, pixel (100, 50) of the 256 x 256 ramp is 12900.
        find(By.ID, 'live-start').click()
        find(By.CSS_SELECTOR, '#live-view [name=auto]').click()
        fill('live-view', 'low', 0)
        fill('live-view', 'high', 65535)
        wait.until(lambda d: 'window 0–65535' in find(By.CSS_SELECTOR, '#live-view .info').text)
        assert canvas_grey(browser, '#live-view canvas.image', 100, 50) == 12900 * 255 // 65535
        wait.until(lambda d: find(By.ID, 'live-fps').text.startswith(tuple('123456789')))

        wait.until(lambda d: d.find_elements(By.CSS_SELECTOR, '#recordings tbody tr'))
        find(By.XPATH, '//*[@id="recordings"]//button[text()="Open"]').click()
        frame = find(By.ID, 'player-frame')
        frame.clear()
        frame.send_keys('10\n')
        wait.until(lambda d: 'showing 256×256' in find(By.CSS_SELECTOR, '#player-view .info').text)
        find(By.ID, 'player-next').click()
        find(By.ID, 'player-previous').click()
        wait.until(lambda d: find(By.ID, 'player-slider').get_attribute('value') == '10')
        assert find(By.ID, 'download-png').get_attribute('href').endswith('/frames/10.png')

        find(By.XPATH, '//*[@id="recordings"]//button[text()="Rename"]').click()
        name = find(By.CSS_SELECTOR, '#recordings input[name=new-name]')
        name.clear()
        name.send_keys('first shot\n')
        wait.until(lambda d: 'first shot' in find(By.ID, 'recordings').text)
        find(By.XPATH, '//*[@id="recordings"]//button[text()="Remove"]').click()
        browser.switch_to.alert.accept()
        wait.until(lambda d: not d.find_elements(By.CSS_SELECTOR, '#recordings tbody tr'))
        assert find(By.ID, 'player-panel').get_attribute('hidden') is not None

        find(By.ID, 'record-stop').click()
        wait.until(lambda d: 'Not recording' in find(By.ID, 'errors').text)
    except Exception:
        OUTPUT.mkdir(parents=True, exist_ok=True)
        stamp = time.strftime('%H%M%S')
        browser.save_screenshot(str(OUTPUT / f'failure-{stamp}-dashboard.png'))
        browser.execute_script('document.getElementById("live-panel").scrollIntoView()')
        browser.save_screenshot(str(OUTPUT / f'failure-{stamp}-live.png'))
        raise
