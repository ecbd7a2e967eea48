"""The tray icon, its menu and the settings window, by mouse."""

import unittest

from support import HOTKEY, SETTINGS_TITLE, TrayTest, wait_until

ICON_COLOUR = (0x7C, 0x6A, 0xEF)


class Tray(TrayTest):
    def setUp(self):
        super().setUp()
        self.desktop.configure(hotkey="Ctrl+Shift+Space")
        self.start()

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
        self.click_apply(window)
        self.quillo.wait_for_line(r"Hotkey registered: Ctrl\+Alt\+D")
        self.quillo.wait_for_line("Settings applied: push-to-talk mode")
        self.assertTrue(self.screen.has_window(SETTINGS_TITLE))

        with self.keyboard.held("Alt_L"):
            self.keyboard.tap("F4")
        wait_until(lambda: not self.screen.has_window(SETTINGS_TITLE), lambda: "the settings window does not close")
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
