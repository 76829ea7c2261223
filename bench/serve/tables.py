"""Tables as text, for the terminal and for Markdown alike."""


def markdown(head, lines):
    """`head`: the titles; those that begin with a space are of figures and stand to the right."""
    cells = [[title.strip() for title in head], *[[str(cell) for cell in line] for line in lines]]
    widths = [max(len(line[column]) for line in cells) for column in range(len(head))]
    right = [title.startswith(" ") for title in head]

    def row(line):
        return "| " + " | ".join(cell.rjust(width) if to_right else cell.ljust(width)
                                 for cell, width, to_right in zip(line, widths, right)) + " |"

    rule = "|".join("-" * (width + 1) + (":" if to_right else "-") for width, to_right in zip(widths, right))
    return "\n".join([row(cells[0]), f"|{rule}|", *map(row, cells[1:])])


def rates(rows):
    return markdown(
        ("Server", "Load", " Replies/s", " Ratio", " p50 us", " Ratio", " p99 us", " CPU us/reply", " Ratio", " MB",
         " Lost"),
        [(row["title"], row["load"].replace("-", ", "), f"{row['replies_per_second']:,.0f}", f"{row['ratio']:.2f}",
          f"{row['p50_us']:.1f}", f"{row['latency_ratio']:.2f}", f"{row['p99_us']:.1f}", f"{row['server_cpu_us']:.2f}",
          f"{row['cpu_ratio']:.2f}", f"{row['memory_mb']:.1f}" if "memory_mb" in row else "",
          row["lost"] + row["wrong"]) for row in rows])


def starts(found):
    return markdown((" Clients", " First reply after ms", " CPU ms", " MB"),
                    [(f"{int(clients):,}", f"{start['first_reply_ms']:.0f}", f"{start['cpu_ms']:.0f}",
                      f"{start['memory_mb']:.0f}")
                     for clients, start in found.items()])


def reloads(found):
    return markdown((" Longest gap ms", " Longest without a reload ms", " The reload took ms", " Lost"),
                    [(f"{reload['longest_gap_ms']:.1f}", f"{reload['gap_without_reload_ms']:.1f}",
                      f"{reload['reload_ms']:.0f}", reload["lost"] + reload["wrong"]) for reload in found])


def bars(found):
    return markdown(("Bar", " Figure", "Has to be", ""),
                    [(bar["title"], f"{bar['value']:.2f}", f"{bar['direction']} {bar['limit']:g}",
                      bar["verdict"]) for bar in found])


def steps(found):
    return markdown(("Step", " Instructions"), [(step["step"], f"{step['instructions']:,.0f}") for step in found])


def everything(report):
    parts = [rates(report["rows"])]
    if "reload" in report["results"]:
        parts.append("A reload of 100,000 clients, 64 outstanding:\n\n" + reloads(report["results"]["reload"]))
    if "start" in report["results"]:
        parts.append("From the start of the process to its first reply:\n\n" + starts(report["results"]["start"]))
    if "steps" in report:
        parts.append("User-space instructions of a DISCOVER, callees under their callers:\n\n" + steps(report["steps"]))
    parts.append(bars(report["bars"]))
    return "\n\n".join(parts) + "\n"
