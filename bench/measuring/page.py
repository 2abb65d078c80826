# SPDX-License-Identifier: BSD-3-Clause
"""The page of bench/scoreboard, as Markdown and as HTML."""

import html
import re

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
.cards { display: grid; grid-template-columns: repeat(auto-fit, minmax(200px, 1fr)); gap: 12px; margin: 18px 0 }
.card { background: var(--card); border: 1px solid var(--line); border-radius: 10px; padding: 14px 16px }
.card b { display: block; font-size: 26px; font-variant-numeric: tabular-nums } .card span { color: var(--soft); font-size: 13px }
.scroll { overflow-x: auto; background: var(--card); border: 1px solid var(--line); border-radius: 10px }
table { border-collapse: collapse; width: 100%; font-size: 14px }
th, td { padding: 6px 12px; text-align: right; border-top: 1px solid var(--line); font-variant-numeric: tabular-nums; white-space: nowrap }
th { border-top: 0; color: var(--soft); font-weight: 600 } th:first-child, td:first-child { text-align: left }
td.words, th.words { text-align: left; white-space: normal } td.bad { color: var(--bad) }
.bar { display: block; height: 4px; border-radius: 2px; background: var(--others); margin: 3px 0 0 auto } .ours .bar { background: var(--ours) }
.ours td:first-child { font-weight: 600 }
details { margin: 8px 0 0 } summary { cursor: pointer; color: var(--soft); font-size: 13px }
pre { overflow-x: auto; font: 12.5px/1.55 ui-monospace, monospace; background: var(--card); border: 1px solid var(--line); border-radius: 8px; padding: 10px 12px; margin: 6px 0 }
li { color: var(--soft) }
"""

_NUMBER = re.compile(r"[\d,.]+$")
_GOOD = ("the same", "as in the VCD", "")


def _cell(value, largest, is_ours):
    if _NUMBER.match(value):
        bar = ""
        if largest:
            width = max(1.0, 100 * float(value.replace(",", "")) / largest)
            bar = f'<span class="bar" style="width:{width:.1f}%"></span>'
        return f"<td>{html.escape(value)}{bar}</td>"
    kind = "words" if value in _GOOD else "words bad"
    return f'<td class="{kind}">{html.escape(value)}</td>'


def _html_table(table):
    # A bar in the first column of figures, and in that of sizes.
    barred = [i for i, name in enumerate(table.columns) if i == 0 or name.startswith("size")]
    largest = {}
    for i in barred:
        numbers = [float(row[i + 1].replace(",", "")) for row in table.rows if _NUMBER.match(row[i + 1])]
        largest[i] = max(numbers, default=0)
    lines = [f"<h3>{html.escape(table.title)}</h3>"]
    if table.note:
        lines.append(f"<p>{html.escape(table.note)}</p>")
    def heading(i, name):
        is_words = any(row[i + 1] and not _NUMBER.match(row[i + 1]) for row in table.rows)
        return f'<th{" class=words" if is_words and i else ""}>{html.escape(name)}</th>'

    lines.append('<div class="scroll"><table><tr><th></th>' +
                 "".join(heading(i, name) for i, name in enumerate(table.columns)) + "</tr>")
    for row in table.rows:
        is_ours = row[0].lower().startswith("tracewell")
        cells = "".join(_cell(value, largest.get(i), is_ours) for i, value in enumerate(row[1:]))
        lines.append(f'<tr class="{"ours" if is_ours else "others"}"><td>{html.escape(row[0])}</td>{cells}</tr>')
    lines.append("</table></div><details><summary>Commands</summary><pre>" +
                 "\n".join(html.escape(f"{row[0]}:  {command}") for row, command in zip(table.rows, table.commands)) +
                 "</pre></details>")
    return "\n".join(lines)


def _markdown_table(table):
    lines = [f"#### {table.title}", ""]
    if table.note:
        lines += [table.note, ""]
    lines.append("| | " + " | ".join(table.columns) + " |")
    lines.append("|---|" + "---:|" * len(table.columns))
    lines += ["| " + " | ".join(cell.replace("|", "\\|") for cell in row) + " |" for row in table.rows]
    lines += ["", "Commands:", "", "```"]
    lines += [f"{row[0]}:  {command}" for row, command in zip(table.rows, table.commands)]
    return "\n".join([*lines, "```", ""])


class Page:
    TITLE = "Tracewell beside VCD and FST"

    def __init__(self, facts, missing):
        self.facts = facts
        self.missing = missing
        self.cards = []
        # Title, introduction, tables.
        self.sections = []

    def markdown(self):
        lines = [f"# {self.TITLE}", "", *[f"- {fact}" for fact in self.facts]]
        lines += [f"- missing, so not measured: {tool}" for tool in self.missing]
        lines += ["", "| | |", "|---|---:|"] + [f"| {what} | {number} |" for number, what in self.cards] + [""]
        for title, introduction, tables in self.sections:
            lines += [f"## {title}", "", introduction, ""] + [_markdown_table(table) for table in tables]
        return "\n".join(lines) + "\n"

    def html(self):
        parts = ['<!doctype html><html lang="en"><head><meta charset="utf-8">',
                 '<meta name="viewport" content="width=device-width, initial-scale=1">',
                 f"<title>{self.TITLE}</title><style>{_STYLE}</style></head><body><main>",
                 f"<h1>{self.TITLE}</h1><ul>", *[f"<li>{html.escape(fact)}</li>" for fact in self.facts],
                 *[f"<li>missing, so not measured: {html.escape(tool)}</li>" for tool in self.missing], "</ul>"]
        parts.append('<div class="cards">' + "".join(
            f'<div class="card"><b>{html.escape(number)}</b><span>{html.escape(what)}</span></div>'
            for number, what in self.cards) + "</div>")
        for title, introduction, tables in self.sections:
            parts.append(f"<h2>{html.escape(title)}</h2><p>{html.escape(introduction)}</p>")
            parts += [_html_table(table) for table in tables]
        return "\n".join([*parts, "</main></body></html>"]) + "\n"
