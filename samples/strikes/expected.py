#!/usr/bin/env python3
"""Works the report of the main job out from its data, independently of the library, or holds the job's XML
document to the data.

    expected.py STRIKES.csv > expected.txt
    expected.py STRIKES.csv TOTALS.xml
"""
import csv
import datetime
import itertools
import sys
import xml.etree.ElementTree
from decimal import ROUND_HALF_UP, Decimal

COLUMNS = (("Year", 0), ("Strikes", 8), ("Costly", 18), ("Other cost", 33), ("Repair cost", 51),
           ("Total cost", 71), ("Per costly strike", 83), ("On the year before", 105))

REGIONS = {
    "Northeast": "Connecticut,Maine,Massachusetts,New Hampshire,New Jersey,New York,Pennsylvania,Rhode Island,Vermont",
    "Midwest": "Illinois,Indiana,Iowa,Kansas,Michigan,Minnesota,Missouri,Nebraska,North Dakota,Ohio,South Dakota,"
               "Wisconsin",
    "South": "Alabama,Arkansas,DC,Delaware,Florida,Georgia,Kentucky,Louisiana,Maryland,Mississippi,North Carolina,"
             "Oklahoma,South Carolina,Tennessee,Texas,Virginia,West Virginia",
    "West": "Alaska,Arizona,California,Colorado,Hawaii,Idaho,Montana,Nevada,New Mexico,Oregon,Utah,Washington,Wyoming",
}


def money(value, width, decimals, credit=False):
    text = f"${abs(value):,.{decimals}f}"
    return text.rjust(width) + (("CR" if value < 0 else "  ") if credit else "")


def line(label, totals, change=None):
    strikes, costly, other, repair = totals
    text = f"{label:<5}{strikes:>9,}{costly:>9,} {money(other, 14, 0):>14}     {money(repair, 14, 0)}     "
    text += money(other + repair, 14, 0)
    if costly:
        average = (Decimal(other + repair) / costly).quantize(Decimal("0.01"), ROUND_HALF_UP)
        text = text.ljust(81) + money(average, 17, 2)
    if change is not None:
        text = text.ljust(101) + money(change, 17, 2, credit=True)
    return text.rstrip()


def add(*all_totals):
    return tuple(map(sum, zip(*all_totals)))


def totals_of(strikes):
    return (len(strikes), sum(row["Cost Total $"] != "0" for row in strikes),
            sum(int(row["Cost Other"]) for row in strikes), sum(int(row["Cost Repair"]) for row in strikes))


def of_data(rows):
    groups = {"all": totals_of(rows)}
    for year, strikes in itertools.groupby(rows, lambda row: row["Flight Date"][:4]):
        groups[year] = totals_of(list(strikes))
    return {key: dict(zip(("strikes", "costly", "other", "repair", "total"), (*totals, sum(totals[2:]))))
            for key, totals in groups.items()}


def of_document(path):
    return {group.get("number", group.tag): {item.tag: int(item.text) for item in group}
            for group in xml.etree.ElementTree.parse(path).getroot()}


def region_line(name, rows):
    worst = max(rows, key=lambda row: int(row["Cost Total $"]))  # the first of equal ones
    airline = worst["Aircraft Airline Operator"].replace("*", " ").strip()
    airport = worst["Airport Name"].replace(" ARPT", "").strip()
    told = (f"{worst['Flight Date']} {airline}, {worst['Aircraft Make Model']} at {airport}: "
            f"{worst['Wildlife Species']}") if int(worst["Cost Total $"]) else ""
    total = sum(int(row["Cost Total $"]) for row in rows)
    return f"{name:<11}{len(rows):>9,}  {money(total, 14, 0)}    {told}".rstrip()


def main():
    with open(sys.argv[1], newline="") as stream:
        rows = list(csv.DictReader(stream))
    if len(sys.argv) > 2:
        sys.exit(None if of_document(sys.argv[2]) == of_data(rows) else f"{sys.argv[2]} isn't what the data comes to")
    print_report(rows)


def print_report(rows):
    heading = ""
    for name, column in COLUMNS:
        heading = heading.ljust(column) + name
    print(heading)
    before, everything = None, []
    for _, period in itertools.groupby(rows, lambda row: int(row["Flight Date"][:4]) // 5):
        years = []
        for year, strikes in itertools.groupby(period, lambda row: row["Flight Date"][:4]):
            totals = totals_of(list(strikes))
            total = totals[2] + totals[3]
            print(line(year, totals, None if before is None else total - before))
            before = total
            years.append(totals)
        everything.append(add(*years))
        print(line("Sum", everything[-1]))
        print()
    print(line("All", add(*everything)))
    print(line("XML", add(*everything)))
    print("\nRegion        Strikes       Total cost  Costliest strike")
    for name, states in REGIONS.items():
        print(region_line(name, [row for row in rows if row["Origin State"] in states.split(",")]))
    print("\nDay           Strikes       Total cost")
    for index, name in enumerate(("Monday", "Tuesday", "Wednesday", "Thursday", "Friday", "Saturday", "Sunday")):
        costs = [int(row["Cost Total $"]) for row in rows
                 if datetime.date.fromisoformat(row["Flight Date"]).weekday() == index]
        print(f"{name:<11}{len(costs):>9,}  {money(sum(costs), 14, 0)}")
    print("\nOperator".ljust(48) + "Strikes       Total cost")
    operators = {}
    for number, row in enumerate(rows):
        name = row["Aircraft Airline Operator"]
        strikes, cost, _ = operators.get(name, (0, 0, 0))
        operators[name] = (strikes + 1, cost + int(row["Cost Total $"]), number)
    many = [(strikes, reached, name, cost) for name, (strikes, cost, reached) in operators.items() if strikes >= 300]
    for strikes, _, name, cost in sorted(many):
        print(f"{name:<45}{strikes:>9,}  {money(cost, 14, 0)}")
    print("\nCostliest strikes")
    for row in sorted(rows, key=lambda row: (-int(row["Cost Total $"]), row["Flight Date"]))[:5]:
        print(f"{money(int(row['Cost Total $']), 14, 0)}  {row['Flight Date']}  {row['Aircraft Airline Operator']}")


main()
