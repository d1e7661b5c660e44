"""Aggregates in two steps: partial states of the rows of each task, and what becomes of all of them.

A state is one column or several.  The average is a sum and a count, so that nothing is rounded before the end.
"""

from __future__ import annotations

import json
from collections.abc import Sequence
from dataclasses import dataclass, field

from ._plan import Expression, Node, aggregate, aggregation, call, cast, column, integer, projection


@dataclass
class Aggregation:
    """How rows become states, states become fewer, and states become the columns of the aggregate."""

    groups: int
    types: list[str]  # of the groups, then of the aggregates
    group_expressions: Sequence[Expression]
    sets: Sequence[Sequence[int]] = ()
    may_lack_states: bool = False  # a row is made of no states, and its counts are 0
    partials: list[Node] = field(default_factory=list)  # over the rows
    merges: list[Node] = field(default_factory=list)  # over the states
    results: list[Expression] = field(default_factory=list)  # over the merged states

    def partial(self, child: Node) -> Node:
        """The groups, and a column for each part of a state."""
        return aggregation(child, self.group_expressions, self.partials)

    def merge(self, child: Node) -> Node:
        """States of several tasks as one for each group."""
        keys = [column(c, type_name) for c, type_name in enumerate(self.types[: self.groups])]
        return aggregation(child, keys, self.merges)

    def finish(self, child: Node) -> Node:
        """The columns of the aggregate, of states of several tasks."""
        merged = self.merge(child)
        if self.sets:
            merged["grouping_sets"] = [list(each) for each in self.sets]
        keys = [column(c, type_name) for c, type_name in enumerate(self.types[: self.groups])]
        return projection(merged, [*keys, *self.results])

    def _part(self, partial: Node, merge: str, condition: Expression | None = None) -> Expression:
        """Adds a part of a state, and gives its column.  Parts that several aggregates need are there once."""
        if partial in self.partials:
            at = self.partials.index(partial)
        else:
            at = len(self.partials)
            self.partials.append(partial)
            more = {} if condition is None else {"condition": condition}
            state = column(self.groups + at, partial["type"])
            self.merges.append(aggregate(merge, partial["type"], state, **more))
        return column(self.groups + at, partial["type"])

    def _count(self, counted: Node) -> Expression:
        count = self._part(counted, "sum")
        if not self.may_lack_states:
            return count
        is_null = {"operation": "is_null", "type": "BOOLEAN", "children": [count]}
        zero = integer(0, "BIGINT")
        return {"operation": "case_when", "type": "BIGINT", "children": [is_null, zero, count]}

    def add(self, each: Node) -> str | None:
        """Adds an aggregate.  Returns its name where it has no states that can be merged."""
        what, kind = each["aggregate"], each["type"]
        argument = each.get("argument")
        more = {name: each[name] for name in ("condition", "is_distinct") if name in each}
        if what in ("count_rows", "count"):
            self.results.append(self._count(aggregate(what, "BIGINT", argument, **more)))
        elif what in ("sum", "min", "max"):
            self.results.append(self._part(aggregate(what, kind, argument, **more), what))
        elif what == "average" and argument is not None:
            sum_type = _sum_type(argument["type"])
            if sum_type is None:
                return f"avg of the type {argument['type']}"
            total = self._part(aggregate("sum", sum_type, argument, **more), "sum")
            count = self._part(aggregate("count", "BIGINT", argument, **more), "sum")
            if sum_type == "DOUBLE":
                count = cast(count, "DOUBLE")
            self.results.append(call("/", "DOUBLE", total, count))
        elif what == "first":
            # A task without a row of the group has a NULL that is nobody's value.
            count = self._part(aggregate("count_rows", "BIGINT", None, **more), "sum")
            is_there = {
                "operation": "greater",
                "type": "BOOLEAN",
                "children": [count, integer(0, "BIGINT")],
            }
            self.results.append(self._part(aggregate("first", kind, argument, **more), "first", is_there))
        else:
            return f"the aggregate {what}"
        return None


def _sum_type(argument: str) -> str | None:
    if argument in ("DOUBLE", "FLOAT"):
        return "DOUBLE"
    if argument.startswith("DECIMAL("):
        return f"DECIMAL(38,{argument.rstrip(')').split(',')[1].strip()})"
    return "HUGEINT" if argument.lstrip("U") in ("TINYINT", "SMALLINT", "INTEGER", "BIGINT", "HUGEINT") else None


def split_aggregates(
    groups: Sequence[Expression],
    aggregates: Sequence[Node],
    sets: Sequence[Sequence[int]] | None = None,
    may_lack_states: bool = False,
) -> Aggregation | str:
    """The two steps of aggregates, or the name of one that has none."""
    types = [group["type"] for group in groups] + [each["type"] for each in aggregates]
    # A grouping set without columns has a row where there are no states.
    out = Aggregation(len(groups), types, groups, sets or (), may_lack_states or bool(sets))
    for each in aggregates:
        missing = out.add(each)
        if missing is not None:
            return missing
    return out


@dataclass(frozen=True)
class SeparateDistinct:
    """Aggregates of which some take only the distinct values of one argument.

    First the rows become groups by the argument too.  When each of these groups is in one task, the distinct values
    of a task are in no other one.
    """

    groups: Sequence[Expression]  # of the first step
    first: Aggregation  # by these groups: the states of the other aggregates
    then: Aggregation  # over what the first step gives


def separate_distinct(groups: Sequence[Expression], aggregates: Sequence[Node]) -> SeparateDistinct | str:
    """The steps, or what has none."""
    distinct = [each for each in aggregates if each.get("is_distinct")]
    arguments = {json.dumps(each["argument"]) for each in distinct}
    if any("condition" in each for each in distinct):
        return "DISTINCT aggregates with FILTER without groups"
    if len(arguments) != 1:
        return "several DISTINCT aggregates without groups"
    argument = distinct[0]["argument"]
    first_groups = [*groups, argument]
    others = [each for each in aggregates if not each.get("is_distinct")]
    first = split_aggregates(first_groups, others, may_lack_states=not groups)
    if isinstance(first, str):
        return first
    n = len(groups)
    keys = [column(c, group["type"]) for c, group in enumerate(groups)]
    types = [group["type"] for group in groups] + [each["type"] for each in aggregates]
    then = Aggregation(n, types, keys)
    # The states of the first step come first among those of the second one, so that their columns move by one: the
    # argument is no group any more.
    for merge in first.merges:
        moved: Node = {name: _moved(merge[name], -1) for name in ("argument", "condition") if name in merge}
        then.partials.append(merge)
        then.merges.append({**merge, **moved})
    results = iter(_moved(each, -1) for each in first.results)
    value = column(n, argument["type"])
    for each in aggregates:
        if each.get("is_distinct"):
            missing = then.add({**each, "argument": value})
            if missing is not None:
                return missing
        else:
            then.results.append(next(results))
    return SeparateDistinct(first_groups, first, then)


def _moved(expression: Expression, by: int) -> Expression:
    out = dict(expression)
    if expression["operation"] == "column":
        out["index"] = expression.get("index", 0) + by
    if "children" in expression:
        out["children"] = [_moved(child, by) for child in expression["children"]]
    return out
