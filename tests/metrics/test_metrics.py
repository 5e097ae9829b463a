"""What "/metrics" gives is as Prometheus' own check has it: nothing to report.

    RIVLINK_HOST_PROGRAM=build/dev/bin/rivlink-host PYTHONPATH=tests/page python3 -m unittest discover -s tests/metrics
"""

import subprocess
import tempfile
import time
import unittest
import urllib.error
import urllib.request
from pathlib import Path
from xml.sax.saxutils import quoteattr

from host import CASCADE, LIMIT, ROOT, Host, many_controllers

ODD_NAMES = ['say "it"', "back\\slash \\n", "Gefäß 温度", "{a=\"b\"} # HELP", " two  blanks", "'", "%,;|"]


def metrics_of(host):
    """The metrics, once there are any."""
    end = time.monotonic() + LIMIT
    while True:
        try:
            with urllib.request.urlopen(host.address + "metrics", timeout=LIMIT) as reply:
                return reply.read()
        except urllib.error.HTTPError as error:
            if error.code != 503 or time.monotonic() > end:
                raise
        time.sleep(0.02)


class Metrics(unittest.TestCase):
    def check(self, configuration, controllers):
        host = Host(configuration)
        try:
            text = metrics_of(host)
        finally:
            host.stop()
        self.assertEqual(controllers, text.count(b"\nrivlink_set_point{"))
        fetched = subprocess.run([ROOT / "scripts" / "test-tools.sh", "promtool"], stdout=subprocess.PIPE, check=True)
        check = subprocess.run(
            [fetched.stdout.decode().strip(), "check", "metrics"],
            input=text,
            stdout=subprocess.PIPE,
            stderr=subprocess.STDOUT,
        )
        self.assertEqual((0, ""), (check.returncode, check.stdout.decode()))
        return text.decode()

    def test_of_the_cascade(self):
        self.check(CASCADE, 1)

    def test_of_names_that_need_escapes(self):
        text = many_controllers(len(ODD_NAMES))
        for index, name in enumerate(ODD_NAMES):
            text = text.replace(f'Name="Process {index:03}"', f"Name={quoteattr(name)}")
        with tempfile.TemporaryDirectory() as folder:
            configuration = Path(folder) / "odd names.xml"
            configuration.write_text(text, encoding="utf-8")
            metrics = self.check(configuration, len(ODD_NAMES))
        for name in ODD_NAMES:
            label = name.replace("\\", "\\\\").replace('"', '\\"')
            self.assertIn(f'rivlink_set_point{{channel="{label}"}} ', metrics)


if __name__ == "__main__":
    unittest.main()
