"""Headless Chromium, driven through WebDriver."""
import base64
import json
import re
import subprocess
import urllib.request

CHROMIUM_OPTIONS = ["--headless", "--no-sandbox", "--disable-gpu", "--disable-quic",
                    "--no-first-run", "--disable-background-networking",
                    "--disable-component-update", "--disable-sync", "--force-color-profile=srgb",
                    "--hide-scrollbars"]  # a screenshot of the whole page has none either


class Browser:
    """A WebDriver session."""

    def __init__(self, chromedriver, chromium, folder):
        self.driver = subprocess.Popen([chromedriver, "--port=0"], stdout=subprocess.PIPE,
                                       stderr=subprocess.DEVNULL, text=True)
        self.session = None
        port = next(int(match[1]) for line in self.driver.stdout
                    if (match := re.search(r"started successfully on port (\d+)", line)))
        self.url = f"http://127.0.0.1:{port}"
        options = {"binary": chromium,
                   "args": [*CHROMIUM_OPTIONS, f"--user-data-dir={folder}"]}
        wanted = {"browserName": "chrome", "goog:loggingPrefs": {"browser": "ALL"},
                  "goog:chromeOptions": options}
        answer = self.call("/session", {"capabilities": {"alwaysMatch": wanted}})
        self.session = f"/session/{answer['sessionId']}"

    def close(self):
        if self.session:
            self.call(self.session, None, "DELETE")
        self.driver.terminate()
        self.driver.wait()
        self.driver.stdout.close()

    def call(self, path, body, method="POST"):
        data = None if body is None else json.dumps(body).encode()
        request = urllib.request.Request(self.url + path, data, method=method)
        with urllib.request.urlopen(request, timeout=60) as answer:
            return json.load(answer)["value"]

    def open(self, path):
        self.call(self.session + "/url", {"url": path.as_uri()})

    def run(self, script, *arguments):
        return self.call(self.session + "/execute/sync",
                         {"script": script, "args": list(arguments)})

    def devtools(self, command, **parameters):
        return self.call(self.session + "/goog/cdp/execute",
                         {"cmd": command, "params": parameters})

    def set_screen(self, width, scheme="light"):
        self.devtools("Emulation.setDeviceMetricsOverride", width=width, height=900,
                      deviceScaleFactor=1, mobile=False)
        self.devtools("Emulation.setEmulatedMedia",
                      features=[{"name": "prefers-color-scheme", "value": scheme}])

    def screenshot(self, selector=None):
        """The PNG of an element, or of the whole page."""
        box = self.run("""const box = arguments[0]
              ? document.querySelector(arguments[0]).getBoundingClientRect()
              : document.documentElement.getBoundingClientRect();
            return [box.left + scrollX, box.top + scrollY, box.width, box.height];""", selector)
        clip = dict(zip(("x", "y", "width", "height"), box), scale=1)
        return base64.b64decode(self.devtools("Page.captureScreenshot", clip=clip,
                                              captureBeyondViewport=True)["data"])

    def log(self):
        return self.call(self.session + "/se/log", {"type": "browser"})
