"""Figures, the tables that they are printed in, and the notes below."""

import re
import statistics
import textwrap
from dataclasses import dataclass


@dataclass
class Row:
    """One line of the table. `ratio` is computed where figure and comparison are numbers."""

    name: str
    figure: object
    unit: str = ""
    comparison: object = None
    goal: str = ""
    note: str = ""

    @property
    def ratio(self):
        both = isinstance(self.figure, (int, float)) and isinstance(self.comparison, (int, float))
        return f"{self.figure / self.comparison:.2f}" if both and self.comparison else ""

    def cells(self):
        return [self.name, _text(self.figure, self.unit), _text(self.comparison, self.unit), self.ratio, self.goal]


def _text(value, unit):
    if value is None:
        return ""
    if isinstance(value, float):
        value = f"{value:.2f}" if abs(value) < 10 else f"{value:.1f}"
    return f"{value} {unit}".strip()


@dataclass
class Curve:
    """How a figure grows: one line of the second table. `points` has a figure for each size, by its name."""

    name: str
    points: dict
    unit: str
    goal: str = ""
    note: str = ""

    def cells(self):
        figures = "; ".join(f"{size}: {_text(figure, '')}" for size, figure in self.points.items())
        return [self.name, self.unit, figures, self.goal]


def _table(header, lines):
    lines = [header, *lines]
    widths = [max(len(cells[column]) for cells in lines) for column in range(len(header))]
    lines.insert(1, ["-" * width for width in widths])
    return ["| " + " | ".join(cell.ljust(width) for cell, width in zip(cells, widths)) + " |" for cells in lines]


def as_markdown(results):
    """The rows as one table, the curves as another, and what there is to be said about each."""
    rows = [result.cells() for result in results if isinstance(result, Row)]
    curves = [result.cells() for result in results if isinstance(result, Curve)]
    lines = _table(["measurement", "Quillo", "comparison", "ratio", "goal"], rows) if rows else []
    if curves:
        lines += ["", *_table(["growth", "unit", "figures", "goal"], curves)]
    lines.append("")
    for result in results:
        if result.note:
            note = f"- {result.name}: {result.note}"
            lines += textwrap.wrap(note, 128, subsequent_indent="  ", break_long_words=False, break_on_hyphens=False)
    return "\n".join(lines)


def percentile(values, share):
    """The value that this share (0 to 1) of all values does not exceed."""
    ordered = sorted(values)
    return ordered[min(len(ordered) - 1, int(share * len(ordered)))]


def spread(values, unit):
    """Median, 95th percentile, least and greatest, in words."""
    return (
        f"median {statistics.median(values):.1f}, p95 {percentile(values, 0.95):.1f}, "
        f"{min(values):.1f} to {max(values):.1f} {unit}, n={len(values)}"
    )


def words_of(text):
    return re.findall(r"[a-z']+", text.lower())


def word_errors(said, heard):
    """The least number of words to insert, drop or replace to get from one text to the other."""
    said, heard = words_of(said), words_of(heard)
    row = list(range(len(heard) + 1))
    for i, word in enumerate(said, 1):
        diagonal, row[0] = row[0], i
        for j, other in enumerate(heard, 1):
            diagonal, row[j] = row[j], min(row[j] + 1, row[j - 1] + 1, diagonal + (word != other))
    return row[-1]
