"""Pages in Debian's browser, without a window."""
import shutil

CHROMIUM, DRIVER = shutil.which("chromium"), shutil.which("chromedriver")


def start(width=1280, height=800, scheme="dark"):
    """A browser that keeps what pages say and ask for."""
    from selenium import webdriver
    from selenium.webdriver.chrome.service import Service
    options = webdriver.ChromeOptions()
    options.binary_location = CHROMIUM
    for argument in ("--headless=new", "--no-sandbox", "--disable-gpu", "--hide-scrollbars", "--force-device-scale-factor=1",
                     "--disable-dev-shm-usage"):
        options.add_argument(argument)
    options.set_capability("goog:loggingPrefs", {"browser": "ALL", "performance": "ALL"})
    browser = webdriver.Chrome(service=Service(DRIVER), options=options)
    browser.set_script_timeout(60)
    resize(browser, width, height)
    browser.execute_cdp_cmd("Emulation.setEmulatedMedia", {"features": [{"name": "prefers-color-scheme", "value": scheme}]})
    return browser


def resize(browser, width, height):
    browser.execute_cdp_cmd("Emulation.setDeviceMetricsOverride",
                            {"width": width, "height": height, "deviceScaleFactor": 1, "mobile": width < 500})


def open_page(browser, path):
    """Opens a replay, and waits until it can be used."""
    browser.get(path.as_uri())
    state = browser.execute_async_script("""
        const done = arguments[0];
        const look = () => document.body.dataset.ready ? done(document.body.dataset.ready) : setTimeout(look, 5);
        look();""")
    if state != "yes":
        raise AssertionError(browser.execute_script("return document.getElementById('said').textContent"))
    drawn(browser)


def drawn(browser, script=""):
    """What a script returns once what it changed is drawn."""
    return browser.execute_async_script(f"""
        const done = arguments[0], view = window.replay.view;
        {script};
        requestAnimationFrame(() => requestAnimationFrame(() => done()));""")
