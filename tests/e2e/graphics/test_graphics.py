"""Recognition on the graphics processor: with Mesa's software device, without any, and with drivers that misbehave.

QUILLO_BINARY names a program with the back-end for graphics processors beside it, QUILLO_DRIVER_LAYER the layer that
bad_driver.cpp makes.
"""

import json
import os
import sys
import unittest
from pathlib import Path

sys.path.insert(0, str(Path(__file__).resolve().parents[1]))

from support import FOX, DesktopTest  # noqa: E402

SHADERS = 400.0
"""Seconds that the software device may take to compile them."""

LAYER = "VK_LAYER_QUILLO_bad_driver"


class Graphics(DesktopTest):
    @classmethod
    def setUpClass(cls):
        super().setUpClass()
        cls.layers = cls.desktop.root / "layers"
        cls.layers.mkdir()
        layer = {
            "name": LAYER,
            "type": "GLOBAL",
            "library_path": os.environ["QUILLO_DRIVER_LAYER"],
            "api_version": "1.3.0",
            "implementation_version": "1",
            "description": "a bad driver",
        }
        (cls.layers / "layer.json").write_text(json.dumps({"file_format_version": "1.1.2", "layer": layer}))

    def setUp(self):
        super().setUp()
        self.outcomes = self.desktop.data_dir / "config/graphics.txt"
        self.outcomes.unlink(missing_ok=True)
        # Software devices are left alone unless one is named.
        self.set_environment(GGML_VK_VISIBLE_DEVICES="0")

    def set_environment(self, **variables):
        for name, value in variables.items():
            self.desktop.env[name] = value
            self.addCleanup(self.desktop.env.pop, name, None)

    def expect_dictation(self, processor):
        self.quillo.skip()
        self.dictate(FOX)
        self.quillo.wait_for_line("Recognising on " + processor)

    def test_moves_to_the_device_that_has_passed_and_starts_there(self):
        self.start()
        self.expect_dictation("CPU")
        self.quillo.wait_for_line("has passed its trial", SHADERS)
        self.quillo.wait_for_line("Warmed up", SHADERS)
        self.expect_dictation("Vulkan0")
        self.expect_orderly_end()
        self.start()
        self.assertEqual(self.quillo.count(r"GPU backend: Vulkan0 \(llvmpipe"), 1)
        self.assertNotIn("trial", self.quillo.tail())
        self.expect_orderly_end()  # while it still warms up

    def test_every_start_dictates_whatever_the_driver_does(self):
        self.set_environment(VK_LAYER_PATH=str(self.layers), VK_INSTANCE_LAYERS=LAYER)
        for place in ("instance", "device", "memory", "shader"):
            for how in ("fails", "crashes", "hangs"):
                with self.subTest(place=place, how=how):
                    self.outcomes.unlink(missing_ok=True)
                    self.set_environment(QUILLO_DRIVER=f"{place} {how}")
                    self.start()
                    if how != "hangs":
                        self.quillo.wait_for_line("stays on the CPU", SHADERS)
                    for _ in range(2):
                        self.expect_dictation("CPU")
                        self.expect_orderly_end()
                        self.start()
                    self.expect_orderly_end()
                    self.assertEqual(self.outcomes.read_text().count("failed"), how != "hangs")

    def test_dictates_without_vulkan_and_without_a_device(self):
        empty = self.desktop.root / "libvulkan.so.1"
        empty.touch()
        for variables in ({"LD_LIBRARY_PATH": str(empty.parent)}, {"VK_ICD_FILENAMES": "/nowhere.json"}):
            with self.subTest(variables):
                self.set_environment(**variables)
                self.start()
                self.quillo.wait_for_line("stays on the CPU")
                self.expect_dictation("CPU")
                self.expect_orderly_end()


if __name__ == "__main__":
    unittest.main()
