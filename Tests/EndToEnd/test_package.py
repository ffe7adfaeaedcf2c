# SPDX-FileCopyrightText: The Fluvane developers
# SPDX-License-Identifier: GPL-3.0-or-later

"""The Debian packages, made from the build as it is."""

import json
import subprocess
import unittest

from harness import programs, scene


def output(*command):
    return subprocess.run([str(part) for part in command], check=True, capture_output=True, text=True).stdout


class Package(unittest.TestCase):
    def test_they_are_proper_packages(self):
        folder = self.enterContext(scene())
        output("cpack", "-B", folder, "--config", programs / "CPackConfig.cmake")
        expected = {"fluvane": ("libcurl4", "libqt6core6", "ca-certificates"), "fluvane-browser": ("libcurl4", "fluvane (=")}
        for name, libraries in expected.items():
            with self.subTest(name):
                package = next(folder.glob(f"{name}_*.deb"))
                checked = subprocess.run(["lintian", "--fail-on", "error,warning", "--display-info", package],
                                         capture_output=True, text=True)
                self.assertEqual(checked.returncode, 0, checked.stdout + checked.stderr)
                self.assertNotIn("hardening-no", checked.stdout)
                depends = output("dpkg-deb", "-f", package, "Depends")
                for library in libraries:
                    self.assertIn(library, depends)
                output("dpkg-deb", "-x", package, folder / "unpacked")
        unpacked = folder / "unpacked"
        self.assertTrue((unpacked / "usr/lib/fluvane/fluvane-application.so").exists())
        self.assertIn("Usage: fluvane", output(unpacked / "usr/bin/fluvane", "help"))
        for place in ("chromium/extensions/fluvane",
                      "mozilla/extensions/{ec8030f7-c20a-464f-9b0e-13a3a9e97384}/fluvane@fluvane.org"):
            self.assertTrue((unpacked / "usr/share" / place / "manifest.json").exists(), place)
        for place in ("etc/chromium/native-messaging-hosts", "usr/lib/mozilla/native-messaging-hosts"):
            manifest = json.loads((unpacked / place / "org.fluvane.fluvane.json").read_text())
            self.assertTrue((unpacked / manifest["path"].lstrip("/")).exists(), place)


if __name__ == "__main__":
    unittest.main()
