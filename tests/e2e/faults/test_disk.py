"""A disk that is full, or cannot be written: what was there stays, and dictation goes on."""

import errno
import json
import subprocess
import unittest

import common  # noqa: F401
import private_network
from support import HOTKEY, MODEL, SET_ACTIVE_BUTTON, SettingsTest, wait_until

OTHER_HOTKEY = ("Control_L", "Alt_L", "d")


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
        self.settings_file = next(self.home.rglob("Quillo.ini"))
        self.desktop.install_model("tiny", MODEL)
        self.start_tray()

    def fill(self, spare=0):
        """Leaves so many bytes."""
        ballast = self.home / "ballast"
        with ballast.open("ab", buffering=0) as file:
            for block in (1 << 20, 4096):
                try:
                    while file.write(bytes(block)) == block:
                        pass
                except OSError as error:
                    self.assertEqual(error.errno, errno.ENOSPC)
            file.truncate(file.tell() - spare)

    def free(self):
        (self.home / "ballast").unlink()

    def files(self):
        """The content of all files but the models."""
        kept = (file for file in self.home.rglob("*") if file.is_file() and file.suffix not in (".bin", ".lock"))
        return {str(file.relative_to(self.home)): file.read_bytes() for file in kept if file.name != "ballast"}

    def dictate(self, text, keys=HOTKEY):
        self.editor.clear()
        with self.keyboard.held(*keys):
            self.desktop.speak(text)
        self.expect_text(text)
        self.assertEqual(self.editor.pastes(), 1)
        self.expect_pill("Pasted")

    def history(self):
        return [entry["text"] for entry in json.loads(self.desktop.history_file.read_bytes())]

    def dictate_into_history(self, text, so_far):
        self.dictate(text)
        wait_until(lambda: self.desktop.history_file.exists() and self.history() == [text, *so_far], "no such history")

    def apply_hotkey(self, *keys):
        window = self.choose_settings()
        self.type_hotkey(window, *keys)
        self.quillo.skip()
        self.click_apply(window)
        self.quillo.wait_for_line("Settings applied")

    def test_history(self):
        self.start()
        self.dictate_into_history("hello world", [])
        before = self.files()
        self.fill()
        self.dictate("thank you")
        self.dictate("good morning")
        self.assertEqual(self.files(), before)
        self.free()
        self.dictate_into_history("one two three four five", ["hello world"])
        self.expect_orderly_end()

    def test_settings(self):
        self.start()
        self.dictate_into_history("thank you", [])
        before = self.files()
        self.fill()
        self.apply_hotkey(*OTHER_HOTKEY)
        self.close_settings()
        self.dictate("hello world", OTHER_HOTKEY)  # in force for this run
        self.assertEqual(self.files(), before)
        self.free()
        self.apply_hotkey("Control_L", "Alt_L", "f")
        wait_until(lambda: b"Ctrl+Alt+F" in self.settings_file.read_bytes(), "the settings are not saved")
        self.choose_quit()

    def test_active_model(self):
        self.desktop.install_model("base", MODEL)
        self.start()
        self.dictate_into_history("thank you", [])
        window = self.choose_settings()
        self.fill()
        before = self.files()
        for _ in range(2):
            self.click_button(SET_ACTIVE_BUTTON, window)
        self.close_settings()
        self.dictate("hello world")
        self.assertEqual(self.files(), before)
        self.free()
        window = self.choose_settings()
        self.click_button(SET_ACTIVE_BUTTON, window)
        self.wait_for_active_model("tiny")
        self.close_settings()
        self.dictate("thank you")
        self.choose_quit()

    def test_read_only(self):
        for has_profile in (True, False):
            with self.subTest(has_profile=has_profile):
                self.expect_use_of_read_only_disk(has_profile)

    def use_service(self, text):
        """Sets up a service that answers with this text, in the settings for all users: none are in the home folder."""
        self.services.answer(body=json.dumps({"text": text}))
        folder = self.desktop.root / "xdg"
        (folder / "Quillo").mkdir(parents=True)
        (folder / "Quillo/Quillo.ini").write_text("[General]\nopenaiKey=sk-none\nopenaiEnabled=true\n")
        self.desktop.env["XDG_CONFIG_DIRS"] = str(folder)
        self.addCleanup(self.desktop.env.pop, "XDG_CONFIG_DIRS")

    def expect_use_of_read_only_disk(self, has_profile):
        if has_profile:
            self.start()
            self.dictate_into_history("hello world", [])
            self.expect_orderly_end()
        else:
            run("find", self.home, "-mindepth", "1", "-delete")
            self.use_service("thank you")  # there is no model
        before = self.files()
        run("mount", "-o", "remount,ro", self.home)
        try:
            self.start()
            self.apply_hotkey(*OTHER_HOTKEY)
            self.close_settings()
            with self.keyboard.held(*OTHER_HOTKEY):
                self.desktop.speak("thank you")
            self.expect_text("thank you")
            self.choose_quit()
            self.assertEqual(self.files(), before)
        finally:
            run("mount", "-o", "remount,rw", self.home)
        self.editor.clear()
        if has_profile:
            self.start()
            self.dictate_into_history("good morning", ["hello world"])
            self.expect_orderly_end()


if __name__ == "__main__":
    private_network.enter()
    unittest.main()
