# SPDX-FileCopyrightText: The Fluvane developers
# SPDX-License-Identifier: GPL-3.0-or-later

"""The Debian package, made from the build as it is."""

import subprocess
import unittest

from harness import programs, scene


def output(*command):
    return subprocess.run([str(part) for part in command], check=True, capture_output=True, text=True).stdout


class Package(unittest.TestCase):
    def test_it_is_a_proper_package(self):
        folder = self.enterContext(scene())
        output("cpack", "-B", folder, "--config", programs / "CPackConfig.cmake")
        package = next(folder.glob("*.deb"))
        checked = subprocess.run(["lintian", "--fail-on", "error,warning", "--display-info", package],
                                 capture_output=True, text=True)
        self.assertEqual(checked.returncode, 0, checked.stdout + checked.stderr)
        self.assertNotIn("hardening-no", checked.stdout)
        depends = output("dpkg-deb", "-f", package, "Depends")
        for library in ("libcurl4", "libqt6core6", "ca-certificates"):
            self.assertIn(library, depends)
        output("dpkg-deb", "-x", package, folder / "unpacked")
        self.assertTrue((folder / "unpacked/usr/lib/fluvane/fluvane-application.so").exists())
        self.assertIn("Usage: fluvane", output(folder / "unpacked/usr/bin/fluvane", "help"))


if __name__ == "__main__":
    unittest.main()
