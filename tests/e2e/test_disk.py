"""A disk that is full, or cannot be written: what was there stays, and dictation goes on."""

import errno
import json
import subprocess
import unittest

import private_network
from support import HOTKEY, MODEL, SET_ACTIVE_BUTTON, SettingsTest, wait_until

OTHER_HOTKEY = ("Control_L", "Alt_L", "d")
THIRD_HOTKEY = ("Control_L", "Alt_L", "f")


def run(*command):
    subprocess.run(list(map(str, command)), check=True, timeout=60)


class SmallDisk(private_network.ServicesTest, SettingsTest):
    """The home folder lies on a small file system of its own."""

    def setUp(self):
        super().setUp()
        self.home = self.desktop.root / "home"
        run("mount", "-t", "tmpfs", "-o", "size=64m,mode=700", "tmpfs", self.home)
        self.addCleanup(run, "umount", "-l", self.home)
        self.desktop.configure(hotkey="Ctrl+Shift+Space")
        for model in ("tiny", "base"):
            self.desktop.install_model(model, MODEL)
        self.addCleanup(self.desktop.start_tray().close)
        self.start()
        self.dictate_into_history("hello world", [])
        self.before = self.files()

    def fill(self):
        with (self.home / "ballast").open("ab", buffering=0) as file:
            for block in (1 << 20, 4096):
                with self.assertRaises(OSError) as full:
                    while file.write(bytes(block)) == block:
                        pass
                    file.write(bytes(block))  # after a part of one
                self.assertEqual(full.exception.errno, errno.ENOSPC)

    def files(self):
        """The content of all files but the models."""
        kept = (file for file in self.home.rglob("*") if file.is_file() and file.suffix not in (".bin", ".lock"))
        return {str(file.relative_to(self.home)): file.read_bytes() for file in kept if file.name != "ballast"}

    def dictate_into_history(self, text, so_far, hotkey=HOTKEY):
        def history():
            file = self.desktop.history_file
            return file.exists() and [entry["text"] for entry in json.loads(file.read_bytes())]

        self.dictate(text, hotkey)
        wait_until(lambda: history() == [text, *so_far], lambda: f"the history is {history()}")

    def change_everything(self, hotkey):
        window = self.choose_settings()
        self.open_tab(window, "Models")
        self.click_button(SET_ACTIVE_BUTTON, window)
        self.apply_hotkey(window, *hotkey)
        self.close_settings()

    def test_full(self):
        self.fill()
        self.change_everything(OTHER_HOTKEY)
        for text in ("thank you", "good morning"):
            self.dictate(text, OTHER_HOTKEY)  # in force for this run
            self.expect_pill("Pasted")
        self.assertEqual(self.files(), self.before)
        (self.home / "ballast").unlink()
        self.change_everything(THIRD_HOTKEY)
        self.wait_for_active_model("tiny")
        wait_until(lambda: b"Ctrl+Alt+F" in self.desktop.settings_file.read_bytes(), "the settings are not saved")
        self.dictate_into_history("one two three four five", ["hello world"], THIRD_HOTKEY)
        self.choose_quit()

    def test_read_only(self):
        self.expect_orderly_end()
        run("mount", "-o", "remount,ro", self.home)
        try:
            self.start()
            self.change_everything(OTHER_HOTKEY)
            self.dictate("thank you", OTHER_HOTKEY)
            self.choose_quit()
            self.assertEqual(self.files(), self.before)
        finally:
            run("mount", "-o", "remount,rw", self.home)
        self.start()
        self.dictate_into_history("good morning", ["hello world"])
        self.expect_orderly_end()


if __name__ == "__main__":
    private_network.enter()
    unittest.main()
