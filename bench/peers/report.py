# SPDX-License-Identifier: Apache-2.0
"""Prints what was measured: as a table, and as a page with a drawing of the ratios."""
import datetime
import os
import platform

ROW = "{:20} {:16} {:18} {:>8} {:>8} {:>8} {:>9} {:>8} {:>6} {:>9} {:>6}"


def mebibytes(count):
    return f"{count / (1 << 20):.1f}"


def processor_ratio(result, program):
    """As the ratio of the wall times, of processor time, which other load on the machine changes less."""
    others = [figures["processor"] for program, figures in result["programs"].items() if program not in OWN]
    return result["programs"][program]["processor"] / (min(others) * result["factor"])


def ratio(result, program):
    """To the fastest of the other programs."""
    best = min(figures["seconds"] for name, figures in result["programs"].items() if name not in OWN)
    return result["programs"][program]["seconds"] / (best * result["factor"])


def rows_of(result):
    for program, figures in result["programs"].items():
        is_own = program in OWN
        yield [result["work"], result["corpus"], program, f"{figures['seconds']:.3f}", f"{figures['processor']:.3f}",
               mebibytes(figures["peak"]), mebibytes(figures["written"]),
               f"{figures['size'] / 1e6:.2f}" if figures["size"] else "",
               f"{ratio(result, program):.2f}" if is_own else "",
               f"{processor_ratio(result, program):.2f}" if is_own else "",
               f"{result['goal']:.2f}" if program == "ztpkg" and result["goal"] else ""]


OWN = ["ztpkg", "floor"]  # floor: a bare program that does only what nobody can leave out
HEAD = ["work", "corpus", "program", "seconds", "cpu", "MiB", "written", "MB", "ratio", "cpu ratio", "goal"]


def print_table(results):
    print(ROW.format(*HEAD))
    for result in results:
        for row in rows_of(result):
            print(ROW.format(*row), flush=True)


def bar(y, label, ratio, goal, scale):
    colour = "#2a7f62" if ratio <= goal else "#b5651d"
    width, mark = ratio * scale, goal * scale
    return (f'<text x="190" y="{y + 13}" text-anchor="end">{label}</text>'
            f'<rect x="200" y="{y}" width="{width:.1f}" height="17" fill="{colour}"/>'
            f'<line x1="{200 + mark:.1f}" x2="{200 + mark:.1f}" y1="{y - 2}" y2="{y + 19}" stroke="#222" '
            f'stroke-width="2"/><text x="{206 + max(width, mark):.1f}" y="{y + 13}">{ratio:.2f}</text>')


def drawing(results):
    """The ratios as bars, each with a mark at what is to be reached."""
    shown = [result for result in results if result["ratio"] and result["goal"]]
    scale = 420 / max([1.0] + [max(result["ratio"], result["goal"]) for result in shown])
    bars = [bar(10 + 24 * i, f"{result['work']}, {result['corpus']}", result["ratio"], result["goal"], scale)
            for i, result in enumerate(shown)]
    return (f'<svg xmlns="http://www.w3.org/2000/svg" width="690" height="{20 + 24 * len(shown)}" '
            f'font-family="sans-serif" font-size="12">' + "\n".join(bars) + "</svg>\n")


def machine():
    with open("/proc/cpuinfo") as file:
        model = next((line.split(":")[1].strip() for line in file if line.startswith("model name")), platform.machine())
    memory = os.sysconf("SC_PAGE_SIZE") * os.sysconf("SC_PHYS_PAGES") / (1 << 30)
    return f"{os.cpu_count()} processors ({model}), {memory:.0f} GiB, Linux {platform.release()}"


def notes():
    """What the figures do not say by themselves."""
    with open(os.path.join(os.path.dirname(os.path.realpath(__file__)), "notes.md")) as file:
        return file.read()


def page(results, versions, runs, load):
    today = datetime.date.today().isoformat()
    lines = ["# Performance", "",
             f"Written by `scripts/bench --docs` on {today}: {machine()}. Medians of {runs} interleaved runs of whole "
             "processes, work in memory. The ratio is ztpkg's time to the fastest other program's; below 1 ztpkg is "
             "faster. The ratio of processor times counts the work of all threads. `floor` is `bench/floor.cpp`, a bare "
             "program that makes only the calls that nobody can leave out. Other programs loaded the machine "
             f"meanwhile: {load:.1f} processes wanted a processor before the first run. Where that is more than "
             "there are, a second thread gains little.", "", "![ratios](performance.svg)", "", "| " + " | ".join(HEAD) + " |",
             "|" + "---|" * 3 + "---:|" * 8]
    lines += ["| " + " | ".join(row) + " |" for result in results for row in rows_of(result)]
    programs = "; ".join(f"{program}: {version}" for program, version in versions.items())
    lines += ["", f"Programs: {programs}.", "", notes()]
    return "\n".join(lines)
