#!/usr/bin/env python3
"""Sums up one run of the benchmarks: one table over all families, beside the targets of bench/targets.txt; all figures
in FOLDER/report.csv and FOLDER/report.json; the pictures of docs/pictures. scripts/bench report calls it:
    scripts/report.py FOLDER    # which holds kernels.csv, kernels.json, streams.csv and streams.json
"""
import csv
import json
import operator
import re
import statistics
import subprocess
import sys

WITHIN = {">=": operator.ge, "<=": operator.le}


def merge_runs(folder):
    """The rates of both programs by name, numbers where there are any, and the context of the run."""
    rates, contexts, benchmarks = {}, [], []
    with open(f"{folder}/report.csv", "w", newline="") as merged:
        for program in ("kernels", "streams"):
            with open(f"{folder}/{program}.json") as file:
                run = json.load(file)
            contexts.append(run["context"])
            benchmarks += run["benchmarks"]
            with open(f"{folder}/{program}.csv") as file:
                lines = file.readlines()
            merged.writelines(lines if not rates else lines[1:])
            for row in csv.DictReader(lines):
                numbers = {column: float(text) for column, text in row.items() if column != "name" and text}
                if "rows_a_cycle" in numbers:
                    numbers["cycles_a_row"] = 1 / numbers["rows_a_cycle"]
                rates.setdefault(row["name"], numbers)  # both programs have the chain of additions
    with open(f"{folder}/report.json", "w") as file:
        json.dump({"context": contexts[0], "benchmarks": benchmarks}, file, indent=1)
    return rates, contexts[0]


def read_targets(path):
    """The table's lines as (section, title, pattern, target), and the steps' rows a cycle by operator and width."""
    lines, steps, section = [], {}, ""
    for text in open(path):
        fields = re.split(r"\s{2,}", text.strip())
        if text.startswith("["):
            section = text.strip()[1:-1]
        elif fields[0] == "step":
            steps[fields[1]] = dict(pair.split(":") for pair in fields[2].split())
        elif fields[0] and not text.startswith("#"):
            lines.append((section, *(fields + [""])[:3]))
    return lines, steps


def base_of(match, quantity, base, rates, steps):
    if not base:
        return 1
    if base.startswith("step "):
        return float(steps[base[5:]][re.search(r"_(\d+)bit", match[0])[1]])
    return rates.get(match.expand(base), {}).get(quantity)


def span(values):
    if not values:
        return "-"
    texts = [f"{value:.3g}" if value < 100 else f"{value:.0f}" for value in (min(values), max(values))]
    return texts[0] if texts[0] == texts[-1] else "..".join(texts)


def judge(pattern, target, rates, steps):
    """What a target says of its kernels: values from worst to best with their names, and whether each is within."""
    quantity, bound, number, base = re.fullmatch(r"(\w+) ([<>]=) ([\d.]+)(?: of (.+))?", target).groups()
    values = []
    for name, rate in rates.items():
        match = re.fullmatch(pattern, name)
        divisor = base_of(match, quantity, base, rates, steps) if match and quantity in rate else None
        if divisor:
            values.append((rate[quantity] / divisor, name))
    values.sort(reverse=bound == "<=")
    return values, [WITHIN[bound](value, float(number)) for value, _ in values]


def print_table(lines, rates, steps):
    verdicts, last_section = [], None
    print(f"{'':<36}{'kernels':>8}{'rows/cycle':>17}{'of machine':>17}{'x plain loop':>17}   "
          f"{'target':<35}{'measured':<14}verdict")
    for section, title, pattern, target in lines:
        if section != last_section:
            print(f"\n{section}")
            last_section = section
        matching = [rate for name, rate in rates.items() if re.fullmatch(pattern, name)]
        columns = [span([rate[column] for rate in matching if column in rate])
                   for column in ("rows_a_cycle", "of_machine", "of_plain")]
        values, within = judge(pattern, target, rates, steps) if target else ([], [])
        text = f"{title:<36}{len(values) if target else len(matching):>8}" + "".join(f"{c:>17}" for c in columns)
        if target and values:
            verdicts.append(all(within))
            words = re.sub(r" of (?!step).*", " of its pair", target).replace("_", " ").replace("ge le", "ge_le")
            text += f"   {words:<35}{span([value for value, _ in values]):<14}"
            text += "met" if all(within) else f"MISSED by {within.count(False)}, worst {values[0][1]}"
        print(text)
    print(f"\n{len(verdicts)} targets: {verdicts.count(True)} met, {verdicts.count(False)} missed")


def write_picture_data(folder, lines, rates, steps):
    def rate(name, quantity):
        return rates.get(name, {}).get(quantity, "NaN")

    with open(f"{folder}/rows-per-cycle.dat", "w") as file:
        for width in (*range(1, 21), 24, 32, 64):
            print(width, *(rate(f"kdzk_{op}_dict_{width}bit/L1", "rows_a_cycle") for op in ("eq", "lt", "ge_le")),
                  file=file)
    with open(f"{folder}/bandwidth.dat", "w") as file:
        for width in (1, 4, 8, 12, 16, 24, 32):
            print(width, *(rate(f"kdzk_{op}_dict_{width}bit/{memory}", "of_machine")
                           for op in ("eq", "ge_le") for memory in ("L1", "L2", "RAM")), file=file)
    with open(f"{folder}/plain-loops.dat", "w") as file:
        for section, title, pattern, target in lines:
            values = [value for value, _ in judge(pattern, target, rates, steps)[0]] if target else []
            if values and "plain loop of" in section:
                print(f'"{title}"', min(values), statistics.median(values), max(values), file=file)


def about_run(context):
    with open("/proc/cpuinfo") as file:
        machine = re.search(r"model name\s*: (.*)", file.read())[1].replace(" @ ", " at ")
    return f"{machine}, {context['compiler']}, {context['date'][:10]}"


def draw_pictures(folder, about, more=""):
    subprocess.run(["gnuplot", "-e", f"data='{folder}/'; about='{about}'; {more}", "bench/pictures.gp"], check=True)


def main(folder):
    rates, context = merge_runs(folder)
    lines, steps = read_targets("bench/targets.txt")
    about = about_run(context)
    gigahertz = rates["dependent_adds/core"]["rows_per_second"] / 1e9
    print(f"{about}; {gigahertz:.2f} GHz by a chain of dependent additions; spans go from the least to the most")
    print_table(lines, rates, steps)
    write_picture_data(folder, lines, rates, steps)
    draw_pictures(folder, about)
    print(f"figures: {folder}/report.csv, {folder}/report.json; pictures: docs/pictures/")


if __name__ == "__main__":
    main(sys.argv[1])
