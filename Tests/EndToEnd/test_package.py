# SPDX-FileCopyrightText: The Fluvane developers
# SPDX-License-Identifier: GPL-3.0-or-later

"""The Debian package, made from the build as it is."""

import pathlib
import shutil
import subprocess
import sys
import tempfile
import unittest

build = pathlib.Path(sys.argv.pop(1)) if len(sys.argv) > 1 else pathlib.Path("build/release")


def output(*command):
    return subprocess.run([str(part) for part in command], check=True, capture_output=True, text=True).stdout


class Package(unittest.TestCase):
    @classmethod
    def setUpClass(cls):
        cls.folder = pathlib.Path(tempfile.mkdtemp(prefix="fluvane-", dir="/tmp"))
        cls.addClassCleanup(shutil.rmtree, cls.folder, ignore_errors=True)
        output("cpack", "-B", cls.folder, "--config", build / "CPackConfig.cmake")
        cls.package = next(cls.folder.glob("*.deb"))

    def test_it_is_a_proper_package(self):
        checked = subprocess.run(["lintian", "--fail-on", "error,warning", "--display-info", self.package],
                                 capture_output=True, text=True)
        self.assertEqual(checked.returncode, 0, checked.stdout + checked.stderr)
        self.assertNotIn("hardening-no", checked.stdout)

    def test_it_needs_the_libraries_it_calls(self):
        depends = output("dpkg-deb", "-f", self.package, "Depends")
        for library in ("libcurl4", "libqt6core6", "ca-certificates"):
            self.assertIn(library, depends)

    def test_the_module_is_where_the_program_looks_for_it(self):
        unpacked = self.folder / "unpacked"
        output("dpkg-deb", "-x", self.package, unpacked)
        self.assertTrue((unpacked / "usr/bin/../lib/fluvane/fluvane-application.so").exists())
        self.assertIn("Usage: fluvane", output(unpacked / "usr/bin/fluvane", "help"))


if __name__ == "__main__":
    unittest.main()
