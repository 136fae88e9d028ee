#!/usr/bin/env python3
"""Writes the seed corpus of every fuzz target from what the product and its emulators really
exchange: the demo catalog (fandecks, device settings, records), the service emulator's replies,
the data folder and the emulated device's state after a demo sync (property lists, measurement
records, the file inventory), and device frames built from them as the wire carries them.

usage: make-seeds.py BUILD_DIR OUT_DIR
BUILD_DIR is an ordinary build with tintera, tintera-catalog, tintera-cloudsim, tintera-devsim.
"""

import os
import plistlib
import re
import shutil
import struct
import subprocess
import sys
import tempfile
import time
import urllib.request
from pathlib import Path

TARGETS = [line.split()[0] for line in (Path(__file__).parent / "targets.txt").read_text().splitlines()
           if line[:1].isalpha()]


class Seeds:
    def __init__(self, out):
        self.out = Path(out)
        self.count = {}
        for target in TARGETS:
            (self.out / target).mkdir(parents=True, exist_ok=True)

    def add(self, target, name, data):
        if isinstance(data, str):
            data = data.encode()
        (self.out / target / name).write_bytes(data)
        self.count[target] = self.count.get(target, 0) + 1


def run(*arguments, **options):
    return subprocess.run(arguments, check=True, capture_output=True, text=True, **options).stdout


def demo_folder(build, work):
    """A demo sync kept on disk: catalog, data folder, emulated device state."""
    env = dict(os.environ, TMPDIR=str(work))
    out = run(str(build / "src/cli/tintera"), "demo", "--keep", env=env, timeout=600)
    match = re.search(r"The demo folder stays at (\S+)", out)
    if not match:
        sys.exit("make-seeds: the demo did not keep its folder:\n" + out)
    return Path(match.group(1))


def service_replies(build, catalog, seeds):
    """The service emulator's replies to the three requests, plain, with a status and as CDATA."""
    server = subprocess.Popen([str(build / "tools/cloudsim/tintera-cloudsim"), "--port", "0", str(catalog)],
                              stdout=subprocess.PIPE, stderr=subprocess.DEVNULL, text=True)
    try:
        base = server.stdout.readline().strip()

        def get(path):
            with urllib.request.urlopen(base + path, timeout=30) as reply:
                return reply.read()

        def fault(query):
            get("/control/fault?" + query)

        opened = get("/OpenDeviceSession?deviceID=VL000001&securityKey=0xC116E18B&securityType=1&language=en")
        seeds.add("service-reply", "open-session.xml", opened)
        session = re.search(rb"<SessionId>([^<]+)</SessionId>", opened).group(1).decode()
        seeds.add("service-reply", "available-files.xml", get("/GetAvailableFiles?SessionId=%s&FileType=Any" % session))
        fault("target=GetAvailableFiles&body=cdata&times=1")
        seeds.add("service-reply", "available-files-cdata.xml",
                  get("/GetAvailableFiles?SessionId=%s&FileType=Fandeck" % session))
        fault("target=OpenDeviceSession&statuscode=3&message=Device%20unknown&times=1")
        seeds.add("service-reply", "status.xml", get("/OpenDeviceSession?deviceID=x&securityKey=y"))
        seeds.add("service-reply", "close-session.xml", get("/CloseDeviceSession?SessionId=%s" % session))
    finally:
        server.terminate()
        server.wait(timeout=30)


def frame(header, payload=b""):
    encoded = plistlib.dumps(header, fmt=plistlib.FMT_BINARY, sort_keys=True)
    return b"KXF1" + struct.pack(">IQ", len(encoded), len(payload)) + encoded + payload


def device_seeds(device, seeds):
    """The device's state as its answers carry it: inventory, measurement records, frames."""
    state = plistlib.loads((device / "device.plist").read_bytes())
    inventory = state.get("Files", [])
    records = [plistlib.loads(path.read_bytes()) for path in sorted((device / "measurements").glob("*.plist"))]
    seeds.add("device-answers", "inventory.bplist", plistlib.dumps(inventory, fmt=plistlib.FMT_BINARY))
    seeds.add("device-answers", "measurements.bplist", plistlib.dumps(records, fmt=plistlib.FMT_BINARY))
    seeds.add("device-answers", "measurements.xml", plistlib.dumps(records[:1]))
    attributes = {"ChipId": state.get("ChipId", "0x1"), "Firmware": "2.4", "FreeDiskSpace": "1000000"}
    hello = {"Kind": "Hello", "ProtocolVersion": 1, "Name": "Velmora", "SerialNumber": "VL000001",
             "Attributes": attributes}
    files = {"Kind": "Response", "Id": 2, "HasData": True, "Attributes": attributes}
    measured = {"Kind": "Response", "Id": 3, "HasData": False, "Attributes": attributes, "Measurements": records}
    failed = {"Kind": "Response", "Id": 4, "HasData": False,
              "Error": {"Domain": "DevsimErrorDomain", "Code": -77, "Description": "clock refused"}}
    stream = frame(hello) + frame(files, plistlib.dumps(inventory, fmt=plistlib.FMT_BINARY)) + frame(measured) + frame(failed)
    # The first byte is the size of the pieces the stream arrives in (0: all at once).
    seeds.add("device-frames", "session-whole", b"\x00" + stream)
    seeds.add("device-frames", "session-pieces", b"\x07" + stream)
    seeds.add("device-frames", "hello", b"\x00" + frame(hello))


def plist_seeds(data, device, seeds):
    """Property-list files of the data folder and the device state, in both forms."""
    chosen = sorted(data.glob("Devices/*/*.plist")) + sorted(data.glob("Fandecks/*/info.plist"))[:2] \
        + sorted(data.glob("Files/*/info.plist"))[:2] + sorted((device / "measurements").glob("*.plist"))[:1]
    for path in chosen:
        name = path.parent.name + "-" + path.name
        seeds.add("property-list", name, path.read_bytes())
        value = plistlib.loads(path.read_bytes())
        seeds.add("property-list", name + ".binary", plistlib.dumps(value, fmt=plistlib.FMT_BINARY))
    resume = plistlib.dumps({"suggestedFilename": "VLM-FD-INT-1.0.cxf"})
    seeds.add("property-list", "resume.plist", resume)
    token = plistlib.dumps({"URL": "http://127.0.0.1:8080/files/VLM-FD-INT-1.0.cxf", "ETag": "\"1037579-1\""})
    seeds.add("resume-package", "package", struct.pack(">H", len(resume)) + resume + token)
    seeds.add("resume-package", "package-binary",
              struct.pack(">H", len(resume)) + resume + plistlib.dumps(plistlib.loads(token), fmt=plistlib.FMT_BINARY))


def document_seeds(build, demo, work, seeds):
    """Small fandecks from the catalog generator, the sync's match export, the settings file."""
    for colours in (1, 4):
        path = Path(work) / ("fandeck-%d.cxf" % colours)
        run(str(build / "tools/catalog/tintera-catalog"), "fandeck", str(path), "--colours", str(colours))
        seeds.add("cxf3-document", path.name, path.read_bytes())
    seeds.add("cxf3-document", "LastMeasurements.cxf", (demo / "data/Measurements/LastMeasurements.cxf").read_bytes())
    seeds.add("cxf3-document", "measurements.cgats",
              "CGATS.17\nORIGINATOR \"seed\"\nNUMBER_OF_FIELDS 4\nBEGIN_DATA_FORMAT\nSAMPLE_ID LAB_L LAB_A LAB_B\n"
              "END_DATA_FORMAT\nNUMBER_OF_SETS 2\nBEGIN_DATA\n1 50.0 10.0 -5.0\n2 70.5 -3.2 20.1\nEND_DATA\n")
    for path in sorted((demo / "catalog/files").glob("*.xml")):
        seeds.add("device-settings", path.name, path.read_bytes())


def version_seeds(catalog, seeds):
    index = (catalog / "index.json").read_text()
    versions = sorted(set(re.findall(r'"VersionString": "([^"]*)"', index)))
    dates = sorted(set(re.findall(r'"VersionDate": "([^"]*)"', index)))
    for i, version in enumerate(versions):
        seeds.add("version-and-date", "version-%d" % i, version + "\n" + versions[0])
    for i, date in enumerate(dates):
        seeds.add("version-and-date", "date-%d" % i, date)
    seeds.add("version-and-date", "letters", "2.10A\n2.9Z")
    seeds.add("version-and-date", "capture-time", "1732467000.25")
    seeds.add("version-and-date", "capture-real", struct.pack("<d", 1732467000.25))


def key_seeds(catalog, seeds):
    for key in sorted((catalog / "trusted-keys").iterdir()):
        pem = key.read_bytes()
        seeds.add("trusted-key", key.name, pem)
        seeds.add("trusted-key", key.name + "-crlf", pem.replace(b"\n", b"\r\n"))


def main():
    if len(sys.argv) != 3:
        sys.exit(__doc__)
    build, out = Path(sys.argv[1]).resolve(), Path(sys.argv[2]).resolve()
    if out.exists():
        shutil.rmtree(out)
    seeds = Seeds(out)
    with tempfile.TemporaryDirectory(prefix="tintera-seeds-") as work:
        demo = demo_folder(build, work)
        try:
            device = next((demo / "devsim/devices").iterdir())
            service_replies(build, demo / "catalog", seeds)
            device_seeds(device, seeds)
            plist_seeds(demo / "data", device, seeds)
            document_seeds(build, demo, work, seeds)
            version_seeds(demo / "catalog", seeds)
            key_seeds(demo / "catalog", seeds)
        finally:
            shutil.rmtree(demo, ignore_errors=True)
    for target in TARGETS:
        print("make-seeds: %-17s %d seed(s)" % (target, seeds.count.get(target, 0)))
    (out / ".complete").write_text(time.strftime("%Y-%m-%dT%H:%M:%S\n"))


if __name__ == "__main__":
    main()
