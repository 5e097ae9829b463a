"""A running host for tests. RIVLINK_HOST_PROGRAM names its program."""

import atexit
import json
import os
import signal
import subprocess
import urllib.error
import urllib.request
from pathlib import Path

ROOT = Path(__file__).resolve().parents[2]
CASCADE = ROOT / "examples" / "cascade" / "cascade.xml"
LIMIT = 20  # s, after which a condition counts as not met


class Host:
    """A running host that serves its page on a loopback address."""

    def __init__(self, configuration, port=0, token=None, options=()):
        program = os.environ["RIVLINK_HOST_PROGRAM"]
        arguments = [program, "run", str(configuration), "--quiet", "--http", str(port), *map(str, options)]
        environment = dict(os.environ)
        if token:
            environment["RIVLINK_HTTP_TOKEN"] = token
        self.process = subprocess.Popen(
            arguments, stdout=subprocess.PIPE, stderr=subprocess.DEVNULL, text=True, env=environment
        )
        atexit.register(self.stop)
        self.address = self.process.stdout.readline().strip()
        if not self.address.startswith("http://127.0.0.1:"):
            raise AssertionError(f"no address in the first line of the host: {self.address!r}")
        self.port = int(self.address.rstrip("/").rsplit(":", 1)[1])

    def stop(self, how=signal.SIGTERM):
        if self.process.poll() is None:
            self.process.send_signal(how)
        self.process.wait(30)
        self.process.stdout.close()

    def request(self, method, path, body=None):
        """Status and JSON of the reply to one request, as a program sends it."""
        data = None if body is None else json.dumps(body).encode()
        headers = {"Content-Type": "application/json", "X-Rivlink-Source": "test"}
        request = urllib.request.Request(self.address + path, data, headers, method=method)
        try:
            with urllib.request.urlopen(request, timeout=LIMIT) as reply:
                return reply.status, json.load(reply)
        except urllib.error.HTTPError as error:
            return error.code, json.load(error)

    def state(self, channel):
        return self.request("GET", f"api/channels/{channel}")[1]["state"]


def many_controllers(count):
    """A configuration of `count` controllers, each with a lag of its own instead of a device."""
    channel = """
    <Channel Name="Process {0:03}" Type="Rvl::CLocalControllerChannel" Enabled="true">
      <ControlLoop>
        <Type>Rvl::CPIDControlLoop</Type>
        <Enabled>true</Enabled>
        <PIDParam Name="process {0:03}" K="2" Ti="2" Td="0" DerivativeGainLimit="0" MinU="-200" MaxU="200"
                  DisabledU="0" Setpoint="{1}" SampleTime_ms="200"/>
        <Input><Type>Rvl::CPT1Element</Type><TimeConstant_s>2</TimeConstant_s></Input>
        <InputSameAsOutput>true</InputSameAsOutput>
      </ControlLoop>
      <SetpointRange Minimum="0" Maximum="100"/>
    </Channel>"""
    channels = "".join(channel.format(index, index % 100) for index in range(count))
    return (
        '<?xml version="1.0" encoding="utf-8"?>\n<Configuration>\n'
        '  <Plugins><Plugin Name="rivlink_local"/></Plugins>\n'
        f"  <Channels>{channels}\n  </Channels>\n</Configuration>\n"
    )
