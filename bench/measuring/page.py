# SPDX-License-Identifier: BSD-3-Clause
"""The page of bench/scoreboard, as Markdown and as HTML."""

import html
import re
from dataclasses import dataclass

_STYLE = """
:root { color-scheme: light dark; --ink: #1c2330; --soft: #5b6577; --line: #dde2ea; --page: #f7f8fa;
  --card: #ffffff; --ours: #2f6fde; --others: #a9b4c4; --bad: #b3261e; }
@media (prefers-color-scheme: dark) { :root { --ink: #e6e9ef; --soft: #9aa5b8; --line: #2e3644;
  --page: #12161d; --card: #1a202a; --ours: #6ea3ff; --others: #5a6677; --bad: #ff8a80; } }
* { box-sizing: border-box }
body { margin: 0; background: var(--page); color: var(--ink); font: 15px/1.5 system-ui, sans-serif }
main { max-width: 1060px; margin: 0 auto; padding: 32px 20px 80px }
h1 { font-size: 28px; margin: 0 0 4px } h2 { font-size: 21px; margin: 44px 0 6px }
h3 { font-size: 16px; margin: 26px 0 4px }
p { margin: 4px 0 10px; color: var(--soft); max-width: 80ch }
.cards { display: grid; grid-template-columns: repeat(auto-fit, minmax(200px, 1fr)); gap: 12px; margin: 18px 0; align-items: start }
.card { background: var(--card); border: 1px solid var(--line); border-radius: 10px; padding: 14px 16px }
.card b { display: block; font-size: 26px; font-variant-numeric: tabular-nums } .card span { color: var(--soft); font-size: 13px }
.card i { display: block; font-style: normal; font-size: 13px; margin-top: 6px } .card li { font-size: 13px } .card ul { margin: 4px 0; padding-left: 18px }
.good { color: var(--ours) } .bad { color: var(--bad) } a { color: inherit }
.scroll { overflow-x: auto; background: var(--card); border: 1px solid var(--line); border-radius: 10px }
table { border-collapse: collapse; width: 100%; font-size: 14px }
th, td { padding: 6px 12px; text-align: right; border-top: 1px solid var(--line); font-variant-numeric: tabular-nums; white-space: nowrap }
th { border-top: 0; color: var(--soft); font-weight: 600 } th:first-child, td:first-child { text-align: left }
td.words, th.words { text-align: left } td.bad, td.not { white-space: normal; min-width: 28ch }
.bar { display: block; height: 4px; border-radius: 2px; background: var(--others); margin: 3px 0 0 auto } .ours .bar { background: var(--ours) }
.ours td:first-child { font-weight: 600 }
details { margin: 8px 0 0 } summary { cursor: pointer; color: var(--soft); font-size: 13px }
pre { white-space: pre-wrap; overflow-wrap: anywhere; font: 12.5px/1.55 ui-monospace, monospace; background: var(--card); border: 1px solid var(--line); border-radius: 8px; padding: 10px 12px; margin: 6px 0 }
li { color: var(--soft); overflow-wrap: anywhere }
@media (max-width: 760px) {
  main { padding: 20px 12px 60px }
  table, tbody { display: block } tr:first-child { display: none }
  tr { display: grid; grid-template-columns: repeat(3, minmax(0, 1fr)); gap: 4px 12px; padding: 8px 12px; border-top: 1px solid var(--line) }
  tr:nth-child(2) { border-top: 0 }
  td, td:first-child { display: block; border: 0; padding: 0; text-align: left; white-space: normal; overflow-wrap: anywhere }
  td:empty { display: none } td:first-child, td.words { grid-column: 1 / -1; min-width: 0 } td:first-child { font-weight: 600 }
  td[data-of]::before { content: attr(data-of); display: block; color: var(--soft); font-size: 12px }
  .words[data-of]::before { display: inline; margin-right: 8px } .bar { margin-left: 0 }
}
"""

_NUMBER = re.compile(r"[\d,.]+$")
_GOOD = ("the same", "as in the VCD", "")
# No verdict at all.
_NOT = ("not tried", "cannot be read by the independent")


@dataclass
class Card:
    """A ratio of ours by theirs, over several waves."""

    # None where no wave has one.
    ratio: float | None
    what: str
    of_what: str
    # The place on the page of the rows that it is made of, and they in words.
    rows: list
    # The waves without a ratio, and why.
    others: list

    @property
    def number(self):
        return "none" if self.ratio is None else f"{self.ratio:.2f}"

    @property
    def kind(self):
        return "" if self.ratio is None else "good" if self.ratio < 1 else "bad"

    @property
    def meaning(self):
        return "" if self.ratio is None else "below 1 is good: Tracewell takes less" if self.ratio < 1 else \
            "below 1 is good: Tracewell takes more"


GOOD = "Tracewell beside another, as ratios: below 1 is good for Tracewell, above 1 for the other."


@dataclass
class Section:
    """Of a wave; its place is what Page.add gives it."""

    title: str
    introduction: str
    # What gives the introduction's numbers.
    commands: list
    tables: list
    place: str = ""

    def place_of(self, title):
        return f"{self.place}-{next((i for i, table in enumerate(self.tables) if table.title == title), 0)}"


def _commands_of(table):
    """Each with the rows that it gives, as a comment of the shell."""
    rows_of = {}
    for row, command in zip(table.rows, table.commands):
        rows_of.setdefault(command, []).append(row[0])
    return "\n".join(f"# {'; '.join(rows)}\n{command}" for command, rows in rows_of.items())


def _folded(text, summary="Commands"):
    return f"<details><summary>{summary}</summary><pre>{html.escape(text)}</pre></details>"


def _cell(value, largest, column):
    of = f' data-of="{html.escape(column)}"' if value and not value.startswith("not made") else ""
    if _NUMBER.match(value):
        bar = ""
        if largest:
            width = max(1.0, 100 * float(value.replace(",", "")) / largest)
            bar = f'<span class="bar" style="width:{width:.1f}%"></span>'
        return f"<td{of}>{html.escape(value)}{bar}</td>"
    kind = "words" if value in _GOOD else "words not" if value.startswith(_NOT) else "words bad"
    return f'<td class="{kind}"{of}>{html.escape(value)}</td>'


def _html_table(table, place):
    # A bar in the first column of figures, and in that of sizes.
    barred = [i for i, name in enumerate(table.columns) if i == 0 or name.startswith("size")]
    largest = {}
    for i in barred:
        numbers = [float(row[i + 1].replace(",", "")) for row in table.rows if _NUMBER.match(row[i + 1])]
        largest[i] = max(numbers, default=0)
    lines = [f'<h3 id="{place}">{html.escape(table.title)}</h3>']
    if table.note:
        lines.append(f"<p>{html.escape(table.note)}</p>")
    def heading(i, name):
        is_number = [bool(_NUMBER.match(row[i + 1])) for row in table.rows if row[i + 1]]
        return f'<th{"" if any(is_number) else " class=words"}>{html.escape(name)}</th>'

    lines.append('<div class="scroll"><table><tr><th></th>' +
                 "".join(heading(i, name) for i, name in enumerate(table.columns)) + "</tr>")
    for row in table.rows:
        is_ours = row[0].lower().startswith("tracewell")
        cells = "".join(_cell(value, largest.get(i), table.columns[i]) for i, value in enumerate(row[1:]))
        lines.append(f'<tr class="{"ours" if is_ours else "others"}"><td>{html.escape(row[0])}</td>{cells}</tr>')
    lines.append("</table></div>" + _folded(_commands_of(table)))
    return "\n".join(lines)


def _html_card(card):
    rows = [f'<li><a href="#{place}">{html.escape(words)}</a></li>' for place, words in card.rows]
    rows += [f"<li>no ratio: {html.escape(words)}</li>" for words in card.others]
    return (f'<div class="card"><b class="{card.kind}">{card.number}</b><span>{html.escape(card.what)}</span>'
            f"<i>{card.meaning}</i>"
            f"<details><summary>{html.escape(card.of_what)}</summary><ul>{''.join(rows)}</ul></details></div>")


def _markdown_cell(text):
    return text.replace("|", "\\|").replace("\n", " ")


def _markdown_commands(text):
    return f"Commands:\n\n```sh\n{text}\n```\n"


def _markdown_table(table):
    lines = [f"#### {table.title}", ""]
    if table.note:
        lines += [table.note, ""]
    lines.append("| | " + " | ".join(table.columns) + " |")
    lines.append("|---|" + "---:|" * len(table.columns))
    lines += ["| " + " | ".join(_markdown_cell(cell) for cell in row) + " |" for row in table.rows]
    return "\n".join([*lines, "", _markdown_commands(_commands_of(table))])


class Page:
    TITLE = "Tracewell beside VCD and FST"

    def __init__(self, facts, missing):
        self.facts = facts
        self.missing = missing
        self.cards = []
        self.sections = []

    def add(self, section):
        section.place = f"w{len(self.sections)}"
        self.sections.append(section)

    def markdown(self):
        lines = [f"# {self.TITLE}", "", *[f"- {fact}" for fact in self.facts]]
        lines += [f"- missing, so not measured: {tool}" for tool in self.missing]
        lines += ["", GOOD, "", "| | ratio | of |", "|---|---:|---|"]
        for card in self.cards:
            words = [words for _, words in card.rows] + [f"no ratio: {words}" for words in card.others]
            lines.append("| " + " | ".join(_markdown_cell(cell) for cell in (
                card.what, card.number, f"{card.of_what}: {'; '.join(words)}")) + " |")
        lines.append("")
        for section in self.sections:
            lines += [f"## {section.title}", "", section.introduction, ""]
            if section.commands:
                lines.append(_markdown_commands("\n".join(section.commands)))
            lines += [_markdown_table(table) for table in section.tables]
        return "\n".join(lines) + "\n"

    def html(self):
        parts = ['<!doctype html><html lang="en"><head><meta charset="utf-8">',
                 '<meta name="viewport" content="width=device-width, initial-scale=1">',
                 f"<title>{self.TITLE}</title><style>{_STYLE}</style></head><body><main>",
                 f"<h1>{self.TITLE}</h1><ul>", *[f"<li>{html.escape(fact)}</li>" for fact in self.facts],
                 *[f"<li>missing, so not measured: {html.escape(tool)}</li>" for tool in self.missing], "</ul>"]
        if self.cards:
            parts.append(f'<p>{GOOD}</p><div class="cards">' + "".join(map(_html_card, self.cards)) + "</div>")
        for section in self.sections:
            parts.append(f'<h2 id="{section.place}">{html.escape(section.title)}</h2>'
                         f"<p>{html.escape(section.introduction)}</p>")
            if section.commands:
                parts.append(_folded("\n".join(section.commands)))
            parts += [_html_table(table, f"{section.place}-{i}") for i, table in enumerate(section.tables)]
        return "\n".join([*parts, "</main></body></html>"]) + "\n"
