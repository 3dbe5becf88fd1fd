#!/usr/bin/env python3
# SPDX-License-Identifier: GPL-3.0-or-later
"""Zephra.lv2 under the tools of LV2 and in the plainest of hosts: lv2_tools.py BUNDLE

The validators, lilv's listing and benchmark, and ffmpeg and GStreamer, which offer a plug-in
neither worker nor options. What is not installed is left out; status 77 if nothing is."""

import os
import shutil
import struct
import subprocess
import sys
import tempfile
import unittest
from pathlib import Path

BUNDLE = Path(sys.argv[1]).resolve()
URI = "urn:quillon-audio:zephra"
TOOLS = ("lv2_validate", "sord_validate", "lv2ls", "lv2info", "lv2bench", "ffmpeg",
         "gst-launch-1.0")


def needs(*programs):
    return unittest.skipUnless(all(map(shutil.which, programs)), f"needs {' and '.join(programs)}")


class Tools(unittest.TestCase):
    def setUp(self):
        place = tempfile.TemporaryDirectory()
        self.addCleanup(place.cleanup)
        self.folder = Path(place.name)
        for variable, name in (("HOME", "home"), ("XDG_CACHE_HOME", "cache"),
                               ("ZEPHRA_DATA_ROOT", "data"), ("ZEPHRA_SETTINGS_DIR", "settings")):
            (self.folder / name).mkdir()
            os.environ[variable] = str(self.folder / name)
        os.environ["LV2_PATH"] = f"{BUNDLE.parent}:/usr/lib/lv2"

    def run_tool(self, *command):
        done = subprocess.run(list(map(str, command)), capture_output=True, text=True, timeout=300,
                              check=False)
        self.assertEqual(done.returncode, 0, done.stderr)
        return done

    @needs("lv2_validate", "sord_validate")
    def test_description_is_valid(self):
        done = self.run_tool("lv2_validate", *BUNDLE.rglob("*.ttl"))
        text = done.stdout + done.stderr
        self.assertIn("Found 0 errors", text)
        complaints = [line for line in text.splitlines()
                      if ("error" in line or "warning" in line) and "Found 0 errors" not in line]
        self.assertEqual(complaints, [])

    @needs("lv2ls", "lv2info")
    def test_lilv_lists_it_without_a_word(self):
        listed = self.run_tool("lv2ls")
        self.assertIn(URI, listed.stdout.split())
        info = self.run_tool("lv2info", URI)
        self.assertEqual(info.stderr, "")
        self.assertIn("Instrument Plugin", info.stdout)
        self.assertEqual(info.stdout.count("Symbol:"), 80)
        self.assertIn("Bass Carpet QX", info.stdout)

    @needs("lv2bench")
    def test_runs_in_lv2bench(self):
        done = self.run_tool("lv2bench", URI)
        self.assertRegex(done.stdout, r"(?m)^\d+\.\d+ " + URI + "$")

    @needs("ffmpeg")
    def test_ffmpeg_loads_it(self):
        out = self.folder / "out.wav"
        escaped = URI.replace(":", r"\\:")
        self.run_tool("ffmpeg", "-loglevel", "error", "-f", "lavfi", "-i",
                      f"lv2=plugin={escaped}:controls=filter_cutoff=300|fx_active=1:duration=1",
                      "-c:a", "pcm_f32le", out)
        self.check_silence(out.read_bytes())

    @needs("gst-launch-1.0", "gst-inspect-1.0")
    def test_gstreamer_loads_it(self):
        element = URI.replace(":", "-")
        if subprocess.run(["gst-inspect-1.0", element], stdout=subprocess.DEVNULL,
                          stderr=subprocess.DEVNULL, check=False).returncode:
            self.skipTest("needs GStreamer's element for LV2")
        out = self.folder / "out.wav"
        self.run_tool("gst-launch-1.0", element, "num-buffers=40", "!", "audio/x-raw,rate=48000",
                      "!", "wavenc", "!", "filesink", f"location={out}")
        self.check_silence(out.read_bytes())

    def check_silence(self, wav):
        """Some sound without a note, of which nothing may be heard."""
        at = wav.index(b"data")
        count = min(struct.unpack_from("<I", wav, at + 4)[0], len(wav) - at - 8) // 4
        self.assertGreater(count, 40000)
        samples = struct.unpack_from(f"<{count}f", wav, at + 8)
        self.assertLess(max(map(abs, samples)), 1e-6)


if __name__ == "__main__":
    if not any(map(shutil.which, TOOLS)):
        sys.exit(77)
    unittest.main(argv=sys.argv[:1], verbosity=2)
