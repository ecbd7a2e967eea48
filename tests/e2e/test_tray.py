"""The tray icon and its menu, by mouse."""

import unittest

from support import TrayTest, wait_until

ICON_COLOUR = (0x7C, 0x6A, 0xEF)


class Tray(TrayTest):
    def test_icon_comes_with_a_late_tray_and_its_menu_ends_the_program(self):
        self.start()
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


if __name__ == "__main__":
    unittest.main()
