"""The browser that the tests of the page work with.

RIVLINK_SCREENSHOTS, if given, is a folder for pictures of the page. The tests need Debian's packages
python3-selenium, chromium and chromium-driver.
"""

import atexit
import base64
import json
import os
import time
from pathlib import Path

from selenium import webdriver
from selenium.common.exceptions import StaleElementReferenceException
from selenium.webdriver.chrome.options import Options
from selenium.webdriver.chrome.service import Service
from selenium.webdriver.common.by import By

from host import LIMIT


def wait_for(condition, what, limit=LIMIT):
    """Calls `condition` until it returns something true, which is returned. Fails after `limit` seconds."""
    end = time.monotonic() + limit
    while True:
        try:
            result = condition()
        except StaleElementReferenceException:
            result = None
        if result:
            return result
        if time.monotonic() > end:
            raise AssertionError(f"not within {limit} s: {what}")
        time.sleep(0.02)


def open_browser():
    options = Options()
    options.binary_location = "/usr/bin/chromium"
    for argument in ("--headless=new", "--no-sandbox", "--disable-dev-shm-usage", "--disable-gpu", "--hide-scrollbars"):
        options.add_argument(argument)
    options.set_capability("goog:loggingPrefs", {"browser": "ALL", "performance": "ALL"})
    browser = webdriver.Chrome(service=Service("/usr/bin/chromedriver"), options=options)
    atexit.register(browser.quit)
    return browser


class Page:
    """The page in the browser, by what a person finds on it."""

    def __init__(self, browser):
        self.browser = browser
        self.addresses = set()  # of the hosts that were opened

    def open(self, host, hash_="#/", width=1280, height=900, live=True):
        """Opens the page afresh and waits until it shows live values, unless `live` is false."""
        self.browser.execute_cdp_cmd(
            "Emulation.setDeviceMetricsOverride",
            {"width": width, "height": height, "deviceScaleFactor": 1, "mobile": False},
        )
        self.addresses.add(host.address)
        self.browser.get("about:blank")
        self.browser.get(host.address + hash_)
        if live:
            self.wait_live()

    def wait_live(self):
        wait_for(lambda: self.run("return document.documentElement.dataset.connection") == "live", "the page is live")

    def run(self, script, *arguments):
        return self.browser.execute_script(script, *arguments)

    def one(self, css):
        """The first visible element, waited for."""
        return wait_for(lambda: next((e for e in self.all(css) if e.is_displayed()), None), css)

    def all(self, css):
        return self.browser.find_elements(By.CSS_SELECTOR, css)

    def text(self, css):
        return self.run("return document.querySelector(arguments[0])?.innerText ?? null", css)

    def number(self, css):
        """The number that an element shows, None for the dash that stands for none."""
        text = (self.text(css) or "").replace("\u2212", "-").split("\u2009")[0].strip()
        try:
            return float(text)
        except ValueError:
            return None

    def press(self, *keys):
        """Presses keys one after the other, wherever the focus is."""
        self.browser.switch_to.active_element.send_keys(*keys)

    def focused(self, script="return document.activeElement.outerHTML"):
        return self.run(script)

    def console(self):
        """What the console was given since the last call."""
        return [entry for entry in self.browser.get_log("browser") if entry["level"] in ("SEVERE", "WARNING")]

    def requested(self):
        """Addresses that the browser asked for since the last call."""
        addresses = []
        for entry in self.browser.get_log("performance"):
            message = json.loads(entry["message"])["message"]
            if message["method"] in ("Network.requestWillBeSent", "Network.webSocketCreated"):
                addresses.append(message["params"].get("request", message["params"])["url"])
        return addresses

    def named_controls(self):
        """(role, name) of everything that can be operated or is a live number, as a screen reader gets it."""
        roles = {"button", "switch", "textbox", "searchbox", "link", "meter", "checkbox", "tab", "combobox", "dialog"}
        tree = self.browser.execute_cdp_cmd("Accessibility.getFullAXTree", {})["nodes"]
        nodes = [node for node in tree if not node.get("ignored")]
        return [
            (node["role"]["value"], node.get("name", {}).get("value", ""))
            for node in nodes
            if node.get("role", {}).get("value") in roles
        ]

    def picture(self, name):
        """A picture of what is in sight, as the bytes of a PNG file; saved under its name where pictures are wanted."""
        data = base64.b64decode(self.browser.execute_cdp_cmd("Page.captureScreenshot", {"format": "png"})["data"])
        folder = os.environ.get("RIVLINK_SCREENSHOTS")
        if folder:
            Path(folder).mkdir(parents=True, exist_ok=True)
            (Path(folder) / f"{name}.png").write_bytes(data)
        return data
