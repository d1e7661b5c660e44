"""Rows as a table on a screen and in a notebook."""

import html
from collections.abc import Sequence

import pyarrow as pa

_widest = 60  # characters of a value on a screen


def _texts(column: pa.ChunkedArray) -> list[str]:
    return ["NULL" if value is None else str(value) for value in column.to_pylist()]


def _is_number(kind: pa.DataType) -> bool:
    return bool(pa.types.is_integer(kind) or pa.types.is_floating(kind) or pa.types.is_decimal(kind))


def _visible(text: str) -> str:
    shown = "".join(c if c.isprintable() else f"\\x{ord(c):02x}" for c in text)
    return shown if len(shown) <= _widest else shown[: _widest - 3] + "..."


def text_table(rows: pa.Table, more: bool) -> str:
    """The rows as aligned text.  With ``more``, the last line says that there are more rows."""
    lines: list[Sequence[str]] = [[_visible(name) for name in rows.column_names]]
    columns = [[_visible(text) for text in _texts(column)] for column in rows.columns]
    lines += list(zip(*columns, strict=True)) if columns else []
    widths = [max(len(line[c]) for line in lines) for c in range(rows.num_columns)]
    right = [_is_number(kind) for kind in rows.schema.types]
    out = [
        "  ".join(
            text.rjust(width) if is_right else text.ljust(width)
            for text, width, is_right in zip(line, widths, right, strict=True)
        ).rstrip()
        for line in lines
    ]
    out.insert(1, "  ".join("-" * width for width in widths))
    out.append(_count(rows.num_rows, more))
    return "\n".join(out)


def html_table(rows: pa.Table, more: bool) -> str:
    """The rows as a table of HTML."""
    align = ["right" if _is_number(kind) else "left" for kind in rows.schema.types]

    def line(tag: str, texts: Sequence[str]) -> str:
        cells = (
            f'<{tag} style="text-align: {side}">{html.escape(text)}</{tag}>'
            for text, side in zip(texts, align, strict=True)
        )
        return f"<tr>{''.join(cells)}</tr>"

    body = "".join(line("td", texts) for texts in zip(*(_texts(column) for column in rows.columns), strict=True))
    head = line("th", rows.column_names)
    return f"<table><thead>{head}</thead><tbody>{body}</tbody></table><p>{_count(rows.num_rows, more)}</p>"


def _count(rows: int, more: bool) -> str:
    if more:
        return "the first row" if rows == 1 else f"the first {rows:,} rows"
    return "1 row" if rows == 1 else f"{rows:,} rows"
