"""Prints scores: a few lines a case, or the tables of docs/recall.md."""

GROUPS = {"deleted": "Deleted, and nothing written since",
          "aged": "Deleted, and the volume used or cut since",
          "formatted": "Formatted",
          "lost": "The records gone"}


def show(case, volume, scores, seconds):
    print(f"{case.name}: {len(volume.wanted)} files to recover ({seconds:.0f} s in all)")
    for tool, result in scores.items():
        print(f"  {tool:12}  contents {result.contents:4}  names {result.names:4}  "
              f"folders {result.folders:4}  junk {result.junk:4}  not whole {result.not_whole:4}  "
              f"said whole {result.whole:4}, wrongly {result.not_so:3}  "
              f"twice {result.twice:3}  {result.seconds:6.2f} s  exit {result.status}", flush=True)


def _cell(volume, result):
    if result is None:
        return ""
    names = f"{result.names} / {result.folders}" if volume.names else "– / –"
    return f"{result.contents} / {names} / {result.junk}"


def markdown(results):
    tools = []
    for _, _, scores in results:
        tools += [name for name in scores if name not in tools]
    lines = []
    for group, title in GROUPS.items():
        rows = [row for row in results if row[0].group == group]
        if not rows:
            continue
        lines += [f"### {title}", "", f"| volume | files | {' | '.join(tools)} | said whole |",
                  "|---|---|" + "---|" * (len(tools) + 1)]
        for case, volume, scores in rows:
            cells = [_cell(volume, scores.get(tool)) for tool in tools]
            own = scores.get("Orvane")
            cells.append(f"{own.whole} / {own.not_so}" if own else "")
            lines.append(f"| {case.title} | {len(volume.wanted)} | {' | '.join(cells)} |")
        lines.append("")
    return "\n".join(lines)
