"""Plans as the driver writes them: operators and expressions as dictionaries, see ``sql/plan_json.hpp``.

A member that is left out is zero, false or empty, so that the first column is ``{"operation": "column"}``.
"""

from __future__ import annotations

import json
from collections.abc import Callable, Iterator, Mapping, Sequence
from typing import Any

# How the tables begin that are the rows of other tasks.
piece_name = "piece "

Node = dict[str, Any]
Expression = dict[str, Any]


def read(node: Node) -> Node:
    """A plan of the driver, in which each operator has its types, and a scan its columns."""
    out = {"types": [], **node}
    if node["operator"] == "scan":
        out = {"table_columns": [], **out}
    if "children" in node:
        out["children"] = [read(child) for child in node["children"]]
    return out


def children(node: Node) -> list[Node]:
    """The operators that give rows to this one."""
    found: list[Node] = node.get("children", [])
    return found


def width(node: Node) -> int:
    """The number of columns."""
    return len(node.get("types", []))


def walk(node: Node) -> Iterator[Node]:
    """The operator and all operators below it."""
    waiting = [node]
    while waiting:
        found = waiting.pop()
        yield found
        waiting += reversed(children(found))


def plan_text(root: Node, tables: Mapping[str, Sequence[str]] | None = None, names: Sequence[str] | None = None) -> str:
    """The text of a plan, with names of the columns.  A table in it may be other ones, any number of them."""

    def renamed(node: Node) -> Node:
        out = node
        if node["operator"] == "scan" and tables:
            parts = [{**node, "table": name} for name in tables.get(node["table"], [node["table"]])]
            return union(parts) if parts else no_rows(node["types"])
        return {**out, "children": [renamed(child) for child in children(node)]} if children(node) else out

    return json.dumps({"names": names or [f"c{i}" for i in range(width(root))], "root": renamed(root)})


# Expressions


def column(index: int, type_name: str) -> Expression:
    return {"operation": "column", "index": index, "type": type_name}


def column_of(expression: Expression) -> int | None:
    """The column that an expression is, or None for another expression."""
    return expression.get("index", 0) if expression["operation"] == "column" else None


def call(name: str, type_name: str, *arguments: Expression) -> Expression:
    return {"operation": "function", "name": name, "type": type_name, "children": list(arguments)}


def cast(value: Expression, type_name: str) -> Expression:
    return {"operation": "cast", "type": type_name, "children": [value]}


def integer(value: int, type_name: str) -> Expression:
    return {"operation": "constant", "type": type_name, "value": {"integer": str(value)}}


def columns_read(expression: Expression) -> set[int]:
    """The columns that an expression reads."""
    found = {expression.get("index", 0)} if expression["operation"] == "column" else set()
    for child in expression.get("children", []):
        found |= columns_read(child)
    return found


def with_columns(expression: Expression, new_index: Callable[[int], int]) -> Expression:
    """The expression over columns with other numbers."""
    out = dict(expression)
    if expression["operation"] == "column":
        out["index"] = new_index(expression.get("index", 0))
    if "children" in expression:
        out["children"] = [with_columns(child, new_index) for child in expression["children"]]
    return out


# Operators


def scan(table: str, columns: Sequence[int], types: Sequence[str]) -> Node:
    return {"operator": "scan", "table": table, "table_columns": list(columns), "types": list(types)}


def no_rows(types: Sequence[str]) -> Node:
    return {"operator": "values", "types": list(types)}


def projection(child: Node, expressions: Sequence[Expression]) -> Node:
    types = [expression["type"] for expression in expressions]
    return {"operator": "projection", "expressions": list(expressions), "types": types, "children": [child]}


def some_columns(child: Node, columns: Sequence[int]) -> Node:
    """The child with these columns, or the child itself where these are all."""
    if list(columns) == list(range(width(child))):
        return child
    if child["operator"] == "scan":
        picked = [child["table_columns"][c] for c in columns]
        return {**child, "table_columns": picked, "types": [child["types"][c] for c in columns]}
    return projection(child, [column(c, child["types"][c]) for c in columns])


def filtered(child: Node, *conditions: Expression) -> Node:
    return {"operator": "filter", "expressions": list(conditions), "types": child["types"], "children": [child]}


def union(nodes: Sequence[Node]) -> Node:
    """The rows of all operators, one after the other.  The tree is balanced, so that it is not deep."""
    if len(nodes) == 1:
        return nodes[0]
    middle = len(nodes) // 2
    both = [union(nodes[:middle]), union(nodes[middle:])]
    return {"operator": "union_all", "types": both[0]["types"], "children": both}


def parts_of_union(node: Node) -> list[Node]:
    """The operators of which a union puts the rows together, or the operator itself."""
    if node["operator"] != "union_all":
        return [node]
    return [each for child in children(node) for each in parts_of_union(child)]


def aggregation(child: Node, groups: Sequence[Expression], aggregates: Sequence[Node]) -> Node:
    types = [group["type"] for group in groups] + [each["type"] for each in aggregates]
    out: Node = {"operator": "aggregate", "types": types, "children": [child]}
    if groups:
        out["groups"] = list(groups)
    if aggregates:
        out["aggregates"] = list(aggregates)
    return out


def aggregate(what: str, type_name: str, argument: Expression | None = None, **more: Any) -> Node:
    out: Node = {"aggregate": what, "type": type_name, **more}
    if argument is not None:
        out["argument"] = argument
    out["sql"] = f"{what}({'' if argument is None else text(argument)})"
    return out


def limited(child: Node, limit: int | None, offset: int = 0) -> Node:
    out: Node = {"operator": "limit", "types": child["types"], "children": [child]}
    if limit is not None:
        out["limit"] = limit
    if offset:
        out["offset"] = offset
    return out


# Columns that nobody reads


def narrowed(node: Node, needed: set[int]) -> tuple[Node, dict[int, int]]:
    """The operator without the columns that are not needed, and the new places of the others.

    What is sent from one process to another then holds nothing that no operator reads.
    """
    keep = sorted(needed)
    kind = node["operator"]
    if kind == "scan":
        return some_columns(node, keep), {c: i for i, c in enumerate(keep)}
    if kind == "projection":
        return _narrowed_projection(node, keep)
    if kind == "filter":
        reads = needed.union(*map(columns_read, node["expressions"]))
        child, places = narrowed(children(node)[0], reads)
        conditions = [with_columns(each, places.__getitem__) for each in node["expressions"]]
        return _restricted(filtered(child, *conditions), keep, places)
    if kind in ("join", "cross_product"):
        return _narrowed_join(node, keep)
    if kind == "aggregate":
        return _narrowed_aggregate(node), {c: c for c in range(width(node))}
    if kind == "order" and ("limit" in node or "offset" in node):
        reads = needed.union(*(columns_read(key["by"]) for key in node["keys"]))
        child, places = narrowed(children(node)[0], reads)
        keys = [{**key, "by": with_columns(key["by"], places.__getitem__)} for key in node["keys"]]
        return _restricted({**node, "keys": keys, "types": child["types"], "children": [child]}, keep, places)
    # Of the other operators each column is read, such as those of DISTINCT.
    every = [narrowed_whole(child) for child in children(node)]
    out = {**node, "children": every} if every else node
    return out, {c: c for c in range(width(node))}


def narrowed_whole(node: Node) -> Node:
    """The operator with its columns as they are, and operators below it without columns that are not needed."""
    out, places = narrowed(node, set(range(width(node))))
    order = [places[c] for c in range(width(node))]
    return some_columns(out, order)


def _restricted(node: Node, keep: Sequence[int], places: dict[int, int]) -> tuple[Node, dict[int, int]]:
    return some_columns(node, [places[c] for c in keep]), {c: i for i, c in enumerate(keep)}


def _narrowed_projection(node: Node, keep: Sequence[int]) -> tuple[Node, dict[int, int]]:
    # A projection without columns would lose the number of rows.
    kept = list(keep) or [0]
    wanted = [node["expressions"][c] for c in kept]
    child, places = narrowed(children(node)[0], set().union(*map(columns_read, wanted)) or {0})
    moved = [with_columns(each, places.__getitem__) for each in wanted]
    return projection(child, moved), {c: i for i, c in enumerate(kept)}


def _narrowed_join(node: Node, keep: Sequence[int]) -> tuple[Node, dict[int, int]]:
    left, right = children(node)
    n = width(left)
    gives_right = node["operator"] == "cross_product" or join_kind(node) not in ("semi", "anti", "mark")
    needed = {c for c in keep if c < n + width(right) * gives_right}
    if "residual" in node:
        needed |= columns_read(node["residual"])
    left_needed = {c for c in needed if c < n}
    right_needed = {c - n for c in needed if c >= n}
    for condition in node.get("conditions", []):
        left_needed |= columns_read(condition["left"])
        right_needed |= columns_read(condition["right"])
    new_left, left_places = narrowed(left, left_needed or {0})
    new_right, right_places = narrowed(right, right_needed or {0})
    places = dict(left_places) | {n + c: width(new_left) + place for c, place in right_places.items()}
    out = {**node, "children": [new_left, new_right]}
    if "conditions" in node:
        out["conditions"] = [
            {
                **condition,
                "left": with_columns(condition["left"], left_places.__getitem__),
                "right": with_columns(condition["right"], right_places.__getitem__),
            }
            for condition in node["conditions"]
        ]
    if "residual" in node:
        out["residual"] = with_columns(node["residual"], places.__getitem__)
    if node["operator"] == "join" and join_kind(node) == "mark":
        places = dict(left_places) | {n: width(new_left)}  # the mark
    out["types"] = join_types(out)
    return _restricted(out, keep or [0], places)


def _narrowed_aggregate(node: Node) -> Node:
    read: set[int] = set()
    for expression in node.get("groups", []):
        read |= columns_read(expression)
    for each in node.get("aggregates", []):
        for member in ("argument", "condition"):
            if member in each:
                read |= columns_read(each[member])
    child, places = narrowed(children(node)[0], read or {0})
    out = {**node, "children": [child]}
    if "groups" in node:
        out["groups"] = [with_columns(each, places.__getitem__) for each in node["groups"]]
    if "aggregates" in node:
        out["aggregates"] = [
            {
                **each,
                **{m: with_columns(each[m], places.__getitem__) for m in ("argument", "condition") if m in each},
            }
            for each in node["aggregates"]
        ]
    return out


# Joins


def join_kind(node: Node) -> str:
    kind: str = node.get("join", "inner")
    return kind


def join_types(node: Node) -> list[str]:
    """The types of the columns that a join gives."""
    left, right = (child["types"] for child in children(node))
    kind = "inner" if node["operator"] == "cross_product" else join_kind(node)
    if kind in ("semi", "anti"):
        return list(left)
    return [*left, "BOOLEAN"] if kind == "mark" else [*left, *right]


# Text


def text(expression: Expression) -> str:
    """An expression as a person reads it."""
    kind = expression["operation"]
    inside = [text(child) for child in expression.get("children", [])]
    if kind == "column":
        return f"c{expression.get('index', 0)}"
    if kind == "constant":
        return _constant_text(expression)
    if kind == "cast":
        return f"CAST({inside[0]} AS {expression['type']})"
    if kind == "function":
        return f"{expression['name']}({', '.join(inside)})"
    sign = _signs.get(kind)
    if sign is not None and len(inside) > 1:
        return f"({sign.join(inside)})"
    return f"{kind}({', '.join(inside)})"


_signs = {
    "equal": " = ",
    "not_equal": " <> ",
    "less": " < ",
    "less_equal": " <= ",
    "greater": " > ",
    "greater_equal": " >= ",
    "distinct_from": " IS DISTINCT FROM ",
    "not_distinct_from": " IS NOT DISTINCT FROM ",
    "all_of": " AND ",
    "any_of": " OR ",
}


def _constant_text(expression: Expression) -> str:
    value = expression.get("value")
    if value is None:
        return str(expression.get("sql", "NULL"))
    if "bytes" in value:
        return repr(bytes.fromhex(value["bytes"]).decode(errors="replace"))
    return f"{expression['type']} {next(iter(value.values()))}"


def describe(node: Node, indent: int = 0) -> list[str]:
    """A line for each operator, those below it indented."""
    sources = _pieces(node)
    if sources > 1:
        return ["  " * indent + f"read the rows of {sources} tasks"]
    lines = ["  " * indent + _description(node)]
    for child in children(node):
        lines += describe(child, indent + 1)
    return lines


def _pieces(node: Node) -> int:
    """How many pieces of other tasks an operator puts together; 0 for another operator."""
    if node["operator"] == "scan":
        return int(str(node["table"]).startswith(piece_name))
    counts = [_pieces(child) for child in children(node)] if node["operator"] == "union_all" else [0]
    return sum(counts) if all(counts) else 0


def _description(node: Node) -> str:
    kind: str = node["operator"]
    if kind == "scan" and _pieces(node):
        return "read the rows of a task"
    if kind == "scan":
        groups = node.get("row_groups")
        part = "" if groups is None else f" row groups {groups[0]} to {groups[1] - 1}"
        return f"scan {node['table']}{part} columns {', '.join(map(str, node['table_columns']))}"
    if kind in ("filter", "projection"):
        return f"{kind} {', '.join(map(text, node['expressions']))}"
    if kind == "join":
        conditions = (
            f"left {text(each['left'])}{_signs[each.get('comparison', 'equal')]}right {text(each['right'])}"
            for each in node.get("conditions", [])
        )
        return f"{join_kind(node)} join on {' AND '.join(conditions)}"
    if kind == "aggregate":
        groups = ", ".join(map(text, node.get("groups", [])))
        shown = ", ".join(_aggregate_text(each) for each in node.get("aggregates", []))
        return f"aggregate {shown}{' by ' + groups if groups else ''}"
    if kind == "order":
        keys = ", ".join(text(key["by"]) + (" DESC" if key.get("is_descending") else "") for key in node["keys"])
        return f"order by {keys}{_limit_text(node)}"
    if kind == "limit":
        return "limit" + _limit_text(node).removeprefix(" limit")
    if kind in ("shared", "shared_reference"):
        return f"{kind.replace('_', ' ')} #{node.get('shared_index', 0)}"
    return kind.replace("_", " ")


def _aggregate_text(each: Node) -> str:
    distinct = "DISTINCT " if each.get("is_distinct") else ""
    argument = text(each["argument"]) if "argument" in each else "*"
    return f"{each['aggregate']}({distinct}{argument})"


def _limit_text(node: Node) -> str:
    shown = f" limit {node['limit']}" if "limit" in node else ""
    return shown + (f" offset {node['offset']}" if "offset" in node else "")
