#!/usr/bin/env -S python3 -B
"""Sums up one run of the benchmarks beside other libraries: a table, its figures in FOLDER/peers.csv and
FOLDER/peers.json, and docs/pictures/peers.svg. scripts/bench peers calls it:
    scripts/peers.py FOLDER    # which holds peers_bench.csv, peers_bench.json, streams.csv and duckdb.json
"""
import csv
import json
import re
import sys

from report import about_run, draw_pictures

# What is compared, ours, the peer's. Groups of ours fill in the rest. Debian builds CRoaring and StreamVByte for any
# x86-64: without SSSE3 and POPCNT. Few rows are a list in CRoaring, which it only copies.
TASKS = [
    ("AND and count, scalar CRoaring, no result", r"kdzk_lbiwvand_dydi\+count", "roaring_and_cardinality"),
    ("AND and count, scalar CRoaring", r"kdzk_lbiwvand_dydi\+count", "roaring_and"),
    ("count, scalar CRoaring's rank", r"kdzk_lbiwvpopcnt_dydi", "roaring_rank"),
    ("rows of set bits, 1 in 100, list of CRoaring", r"kdzk_lbiwvones_dydi/1_in_100", "roaring_to_uint32_array/1_in_100"),
    (r"rows of set bits, 1 in \1, scalar CRoaring", r"kdzk_lbiwvones_dydi/1_in_(10|2)", r"roaring_to_uint32_array/1_in_\1"),
    (r"\1 bits to 32, scalar StreamVByte", r"kdzk_decode_unpack:wide/(\d+)bit", r"streamvbyte_decode/\1bit"),
    (r"count between, \1 bits, RAM, DuckDB", r"kdzk_ge_le/(\d+)bit", r"duckdb_between/\1bit"),
    (r"decompression of \2, \1 bits a code, LZ4", r"ypak_(8|10)bit/(\w+)", r"lz4/\2"),
]
COLUMNS = ("what", "ours", "peer", "ours_per_second", "peer_per_second", "unit", "ratio")


def read_rates(folder):
    """By name: rows a second where rows are counted alone, else bytes a second."""
    rates = {}
    for program in ("peers_bench", "streams"):
        with open(f"{folder}/{program}.csv") as file:
            for row in csv.DictReader(file):
                gigabytes = float(row["gb_per_second"])
                rates[row["name"]] = (gigabytes * 1e9, "bytes") if gigabytes else (float(row["rows_per_second"]), "rows")
    with open(f"{folder}/duckdb.json") as file:
        duckdb = json.load(file)
    version = duckdb.pop("duckdb")
    rates.update((name, (rate, "rows")) for name, rate in duckdb.items())
    return rates, version


def compare(rates):
    compared = []
    for what, ours, peer in TASKS:
        for name, (rate, unit) in rates.items():
            match = re.fullmatch(ours, name)
            beside = rates.get(match.expand(peer)) if match else None
            if beside:
                compared.append(dict(zip(COLUMNS, (match.expand(what), name, match.expand(peer), rate, beside[0], unit,
                                                   rate / beside[0]))))
    return compared


def main(folder):
    rates, duckdb = read_rates(folder)
    compared = compare(rates)
    with open(f"{folder}/peers_bench.json") as file:
        context = json.load(file)["context"]
    about = about_run(context)
    print(f"{about}; CRoaring, StreamVByte and LZ4 as Debian builds them, DuckDB {duckdb}")
    print(f"{'':<52}{'ours':>10}{'peer':>10}{'ratio':>8}")
    for row in compared:
        print(f"{row['what']:<52}{row['ours_per_second'] / 1e6:>10.0f}{row['peer_per_second'] / 1e6:>10.0f}"
              f"{row['ratio']:>8.2f}   million {row['unit']} a second")
    with open(f"{folder}/peers.csv", "w", newline="") as file:
        writer = csv.DictWriter(file, COLUMNS)
        writer.writeheader()
        writer.writerows(compared)
    with open(f"{folder}/peers.json", "w") as file:
        json.dump({"context": context, "duckdb": duckdb, "peers": compared}, file, indent=1)
    with open(f"{folder}/peers.dat", "w") as file:
        for row in compared:
            print(f'"{row["what"]}"', row["ratio"], file=file)
    draw_pictures(folder, about, "of_peers=1")
    print(f"figures: {folder}/peers.csv, {folder}/peers.json; picture: docs/pictures/peers.svg")


main(sys.argv[1])
