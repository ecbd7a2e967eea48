"""What tests, measurements and demo share: a private desktop without hardware, with an editor to dictate into.

with Desktop(helpers, binary) as desktop:
    desktop.install_model("tiny", "ggml-mini.bin")
    quillo = desktop.start_quillo()
    with desktop.keyboard.held(*HOTKEY):
        desktop.speak("hello world")
    desktop.editor.wait_for_text("hello world")

Everything runs as the calling user (root will do), under folders of its own, and ends with the context, at the
latest with the calling process. Any number of desktops can exist side by side. Beside it there are the remote services'
stand-in, under their own names where `private_network` can be entered, and Wine.
"""

from .desktop import HOTKEY, Desktop
from .overlay import find_overlay, see_overlay
from .program import Program, wait_until

__all__ = ["HOTKEY", "Desktop", "Program", "find_overlay", "see_overlay", "wait_until"]
