"""The tray icon, its menu and the settings window, by mouse."""

import unittest

from support import HOTKEY, DesktopTest, wait_until

TITLE = "Quillo Settings"
ICON_COLOUR = (0x7C, 0x6A, 0xEF)
TRAY_HEIGHT = 32


class Tray(DesktopTest):
    def setUp(self):
        super().setUp()
        self.desktop.configure(hotkey="Ctrl+Shift+Space")
        self.start()

    def start_tray(self):
        tray = self.desktop.start_tray()
        self.addCleanup(tray.close)

    def icon(self):
        def window():
            return next((window for window in self.screen.windows(self.quillo) if window.height <= TRAY_HEIGHT), None)

        return wait_until(window, lambda: "no icon in the tray")

    def open_menu(self):
        before = {window.id for window in self.screen.windows(self.quillo)}
        icon = self.icon()
        self.screen.click(icon.x + icon.width // 2, icon.y + icon.height // 2, button=3)

        def menu():
            return next((window for window in self.screen.windows(self.quillo) if window.id not in before), None)

        return wait_until(menu, lambda: "no menu")

    def choose(self, height):
        """Clicks the menu's entry at a height from 0, the top, to 1."""
        menu = self.open_menu()
        self.screen.click(menu.x + menu.width // 3, menu.y + round(menu.height * height))

    def choose_settings(self):
        self.choose(0.40)
        window = self.screen.wait_for_window(TITLE)
        wait_until(lambda: self.screen.focus() == window.id, lambda: "the settings window has not got the focus")
        return self.screen.wait_for_window(TITLE)  # where it is now that it is managed

    def choose_quit(self):
        self.choose(0.88)
        self.assertEqual(self.quillo.wait(), 0, self.quillo.tail())

    def test_icon_comes_with_a_late_tray_and_its_menu_ends_the_program(self):
        self.assertEqual(self.screen.windows(self.quillo), [])
        self.start_tray()
        icon = self.icon()
        wait_until(lambda: self.screen.picture().count(ICON_COLOUR, icon) > 100, lambda: "the icon is not drawn")
        menu = self.open_menu()
        self.keep(self.screen.picture(), "menu")
        self.screen.click(menu.x + menu.width // 3, menu.y + round(menu.height * 0.13))  # "Start Dictation", disabled
        self.assertEqual(self.quillo.count("Starting recording"), 0)
        self.keyboard.tap("Escape")
        wait_until(lambda: len(self.screen.windows(self.quillo)) == 1, lambda: "the menu does not go")
        self.choose_quit()

    def test_applied_hotkey_works_at_once_and_the_old_one_no_more(self):
        self.start_tray()
        self.desktop.configure(hotkey="Ctrl+Alt+D")  # what the window will show and save
        window = self.choose_settings()
        self.keep(self.screen.picture(), "settings")
        self.screen.click(window.x + window.width - 60, window.y + window.height - 30)  # Apply
        self.quillo.wait_for_line(r"Hotkey registered: Ctrl\+Alt\+D")
        self.quillo.wait_for_line("Settings applied: push-to-talk mode")
        self.assertTrue(self.screen.has_window(TITLE))

        with self.keyboard.held("Alt_L"):
            self.keyboard.tap("F4")
        wait_until(lambda: not self.screen.has_window(TITLE), lambda: "the settings window does not close")
        wait_until(lambda: self.screen.focus() == self.screen.wait_for_window("Text editor").id, "the editor's focus")

        with self.keyboard.held(*HOTKEY[:-1]):
            self.keyboard.tap(HOTKEY[-1])
        self.editor.wait_for_key("release Space")
        self.editor.clear()
        with self.keyboard.held("Control_L", "Alt_L", "d"):
            self.desktop.speak("hello world")
        self.expect_text("hello world")
        self.assertEqual(self.quillo.count("Starting recording"), 1)
        self.assertNotIn("press D", self.editor.keys())
        self.choose_quit()


if __name__ == "__main__":
    unittest.main()
