"""The overlay of the program under test, as it is seen on the screen."""

from collections import namedtuple

ACCENTS = {
    "Listening": (0x7C, 0x6A, 0xEF),
    "Processing": (0x36, 0x37, 0x50),
    "Pasted": (0x4A, 0xDE, 0x80),
    "Error": (0xF8, 0x71, 0x71),
}
"""The colour of the outline in each state."""

HEIGHT = 56

Sight = namedtuple("Sight", "state window picture")
"""The overlay at one moment: its state, None while it is between two, its window and the picture of the screen."""


def find_overlay(screen, quillo):
    """The overlay's window, None while it is hidden."""
    return next((window for window in screen.windows(quillo) if window.height == HEIGHT), None)


def see_overlay(screen, quillo):
    """A Sight, None while the overlay is hidden."""
    window = find_overlay(screen, quillo)
    if not window:
        return None
    picture = screen.picture()
    # Three quarters of the outline's width lie on the outermost row.
    edge = picture.colour(window.x + window.width // 2, window.y)
    for state, accent in ACCENTS.items():
        if all(abs(seen - 0.75 * wanted) < 3 for seen, wanted in zip(edge, accent)):
            return Sight(state, window, picture)
    return Sight(None, window, picture)
