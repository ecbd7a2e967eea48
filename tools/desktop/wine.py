"""Windows programs on the desktop, by the Wine that tools/windows/wine.sh has set up."""

from pathlib import Path


def wine_environment(desktop, home):
    """`home` is the folder that holds Wine's own. Its user has an accent, so that the folders of Windows have one."""
    return desktop.env | {
        "HOME": str(home),
        "USER": "Zoë",
        "LC_ALL": "C.UTF-8",
        "WINEPREFIX": str(Path(home, "prefix")),
        "WINEARCH": "win64",
        "WINEDEBUG": "-all",
        "WINEDLLOVERRIDES": "mscoree,mshtml=;winemenubuilder.exe=d",
    }


def windows_data_dir(home):
    """The data folder of the program under test."""
    return Path(home, "prefix/drive_c/users/Zoë/AppData/Roaming/Quillo")
