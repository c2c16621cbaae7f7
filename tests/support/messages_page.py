"""The texts that docs/messages.md explains."""
import pathlib
import re
from typing import NamedTuple

PAGE = pathlib.Path(__file__).resolve().parents[2] / "docs" / "messages.md"
# The page lists this, although no source has it: it begins a header line of the server's.
FROM_THE_SERVER = {"Content-Type: text/html"}


class Row(NamedTuple):
    text: str
    cells: list


def rows_of_page():
    """The rows of the page's tables whose first cell is a text. If the texts of a section have a
    common beginning, a line above the table shows it: a text that ends with a colon."""
    rows, prefix = [], ""
    for line in PAGE.read_text(encoding="utf-8").splitlines():
        if line.startswith("#"):
            prefix = ""
        common = re.match(r"`([^`]+:)` and(, without a blank,)?", line)
        if common:
            prefix = common[1] + ("" if common[2] else " ")
        cells = [cell.strip() for cell in line.strip().strip("|").split(" | ")]
        text = re.fullmatch(r"`([^`]+)`", cells[0])
        if line.startswith("|") and text:
            rows.append(Row(prefix + text[1], cells))
    return rows
