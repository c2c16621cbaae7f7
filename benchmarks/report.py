"""The tables of a measurement, and the page that they stand in.

    python3 benchmarks/report.py build/benchmark/results.json    prints the tables once more

The limits are the product's aims. They decide nothing: a machine may be busy or slow, so a figure
that misses its limit is to be looked at by somebody, and fails no script.
"""
import json
import string
import sys
import textwrap

from common import MIB
from under_apache import AT_ONCE

GET_TIME = {"C floor": 0.4, "static C floor": 1.15, "/bin/true": 1, "cgi-fcgi": 1,  # at most
            "careful floor": None}
GET_INSTRUCTIONS = 110_000
DYNAMIC_GET_INSTRUCTIONS = 190_000
GET_SYSTEM_CALLS = 24
GET_MEMORY = 0.4      # at most so many times the C floor's
GET_RATE = {"printing program": 1.35, "static printing program": 0.9}  # at least, under Apache
# At least so many times as fast as Python. It leaves letters as they are without looking at each;
# just to read and send them takes longer than a limit would allow. There is none for tiny fields.
FORM_SPEED = {"many small fields": 6, "one value, letters only": None, "many tiny fields": None}
OTHER_FORM_SPEED = 20
# At most so many times the form.
FORM_MEMORY = {"one value, prose": 2.2, "many small fields": 5, "many tiny fields": 18}
OTHER_FORM_MEMORY = 6
EVENT_MEMORY = 45     # the same for the tiniest fields in Apple-event mode
# At least so much of the C floor's speed, and at most so many times the reply.
REPLY_SPEED = {"UTF-8": 0.6, "Latin-1": 0.45}
CHUNKED_REPLY_SPEED = 0.5
REPLY_MEMORY = {"Latin-1": 3.1}
OTHER_REPLY_MEMORY = 1.2
GROWTH = 1.25         # at most so many times the time of a byte at a quarter of the size
WITH_FLOOR = "many small fields",
SERVER_MILLISECONDS = 1, 5, 20, 100


def table(head, rows):
    lines = [head, ["---"] + ["--:"] * (len(head) - 1), *rows]
    return "\n".join(f"| {' | '.join(map(str, line))} |" for line in lines)


def judged(value, limit, is_met):
    return f"{value} ({limit}: {'met' if is_met else 'missed'})"


def at_least(value, limit):
    return judged(f"{value:.2f}", f"at least {limit}", value >= limit)


def at_most(value, limit):
    return judged(f"{value:.2f}", f"at most {limit}", value <= limit)


def milliseconds(seconds):
    return f"{seconds * 1000:.3g} ms" if seconds < 0.9995 else f"{seconds:.3g} s"


def mebibytes(count):
    return f"{count / MIB:.1f} MiB"


def small_table(results):
    small = results["small"]
    rows = [[name, milliseconds(get["seconds"]), f"{get['ratio']:.2f}",
             milliseconds(small["POST"][name]["seconds"]), f"{small['POST'][name]['ratio']:.2f}",
             mebibytes(small["peaks"][name])] for name, get in small["GET"].items()]
    return table(["program", "GET", "of the bridge's", "form", "of the bridge's", "peak memory"],
                 rows)


def counts_table(results):
    small = results["small"]
    rows = [[name, f"{counts['instructions']:,}" + ("" if counts["is_repeatable"] else " (varies)"),
             f"{counts['code_lines']:,} + {counts['data_lines']:,}", counts["system_calls"],
             f"{small['GET'][name]['page_faults']:.0f}", mebibytes(small["peaks"][name])]
            for name, counts in small["counts"].items()]
    return table(["program", "instructions", "cache lines of code + data", "system calls",
                  "page faults", "peak memory"], rows)


def files_table(results):
    rows = []
    for name in "dynamic bridge", "C floor":
        by_file = results["small"]["counts"][name]["by_file"]
        loader, library = (sum(count for file, count in by_file.items() if file.startswith(start))
                           for start in ("ld-", "libc."))
        rows.append([name, f"{loader:,}", f"{library:,}",
                     f"{sum(by_file.values()) - loader - library:,}"])
    return table(["instructions of a GET", "program loader", "C library", "the program"], rows)


class WithoutCPUIDs:
    """What GETs would take if a virtual machine did not stop at each CPUID instruction."""

    def __init__(self, results):
        self.get = results["small"]["GET"]
        cpuids = results["small"]["cpuids"] or {"seconds": 0, "counts": dict.fromkeys(self.get, 0)}
        self.one, self.counts = cpuids["seconds"], cpuids["counts"]

    def cost(self, name):
        return self.counts[name] * self.one

    def table(self):
        least = self.get["bridge"]["seconds"] - self.cost("bridge")
        rows = []
        for name, count in self.counts.items():
            whole, cost = self.get[name]["seconds"], self.cost(name)
            rows.append([name, count, milliseconds(cost), f"{cost / whole:.0%}",
                         milliseconds(whole - cost), f"{(whole - cost) / least:.2f}"])
        return table(["program", "CPUIDs", "their time", "of a GET's", "a GET without them",
                      "of the bridge's"], rows)

    def share_of_gain(self):
        """Of what a GET of the bridge takes less than one of the dynamic bridge."""
        gain = self.get["dynamic bridge"]["seconds"] - self.get["bridge"]["seconds"]
        return (self.cost("dynamic bridge") - self.cost("bridge")) / gain


def aims_table(results):
    get, counts = results["small"]["GET"], results["small"]["counts"]["bridge"]
    dynamic = results["small"]["counts"]["dynamic bridge"]["instructions"]
    peaks, column = results["small"]["peaks"], str(AT_ONCE[-1])
    rates = {name: runs[column]["rate"] for name, runs in results["apache"]["programs"].items()}
    return table(["a GET of the bridge's", "figure"], [
        *([f"time, times that of {name}",
           at_most(ratio, limit) if limit else f"{ratio:.2f}"] for name, limit in GET_TIME.items()
          for ratio in [get["bridge"]["seconds"] / get[name]["seconds"]]),
        *([f"requests a second, {column} at a time, times those of the {name}",
           at_least(rates["bridge"] / rates[name], limit)] for name, limit in GET_RATE.items()),
        ["instructions", judged(f"{counts['instructions']:,}", f"at most {GET_INSTRUCTIONS:,}",
                                counts["instructions"] <= GET_INSTRUCTIONS)],
        ["instructions of the dynamic bridge",
         judged(f"{dynamic:,}", f"at most {DYNAMIC_GET_INSTRUCTIONS:,}",
                dynamic <= DYNAMIC_GET_INSTRUCTIONS)],
        ["system calls", judged(counts["system_calls"], f"at most {GET_SYSTEM_CALLS}",
                                counts["system_calls"] <= GET_SYSTEM_CALLS)],
        ["peak memory, times the C floor's",
         at_most(peaks["bridge"] / peaks["C floor"], GET_MEMORY)]])


def apache_table(results):
    programs = results["apache"]["programs"]
    columns = [str(count) for count in AT_ONCE]
    rows = [[name] + [text for column in columns for text in (
        f"{runs[column]['rate']:.{0 if runs[column]['rate'] >= 10 else 1}f}",
        f"{runs[column]['rate'] / programs['bridge'][column]['rate']:.2f}")]
            for name, runs in programs.items()]
    return table(["program"] + [text for column in columns
                                for text in (f"{column} at a time", "of the bridge's")], rows)


def parts_of(sizes):
    return " / ".join(milliseconds(size["seconds"]) for size in sizes)


def forms_table(results):
    rows = []
    for shape, form in results["forms"]["shapes"].items():
        limit = FORM_SPEED.get(shape, OTHER_FORM_SPEED)
        whole = form["sizes"][-1]
        rows.append([shape, mebibytes(whole["bytes"]), parts_of(form["sizes"]),
                     milliseconds(form["python_seconds"]),
                     at_least(form["ratio"], limit) if limit else f"{form['ratio']:.2f}",
                     f"{form['python_seconds'] / whole['floor']['seconds']:.2f}"
                     if shape in WITH_FLOOR else "",
                     at_most(form["growth"], GROWTH),
                     at_most(form["memory"], FORM_MEMORY.get(shape, OTHER_FORM_MEMORY))])
    event = results["forms"]["by event"]
    rows.append(["nothing but &, Apple-event mode", mebibytes(event["sizes"][-1]["bytes"]),
                 parts_of(event["sizes"]), "", "", "", at_most(event["growth"], GROWTH),
                 at_most(event["memory"], EVENT_MEMORY)])
    return table(["form", "size", "bridge at 1/4, 1/2, whole", "Python", "times as fast as Python",
                  "the fields' floor", "growth", "memory, times the form"], rows)


def replies_table(results):
    rows = [[kind, mebibytes(reply["sizes"][-1]["bytes"]), parts_of(reply["sizes"]),
             milliseconds(reply["sizes"][-1]["floor"]["seconds"]),
             at_least(reply["ratio"], REPLY_SPEED.get(kind, CHUNKED_REPLY_SPEED)),
             milliseconds(reply["sizes"][-1]["checking"]["seconds"]),
             f"{reply['checking_ratio']:.2f}",
             at_most(reply["growth"], GROWTH),
             at_most(reply["memory"], REPLY_MEMORY.get(kind, OTHER_REPLY_MEMORY))]
            for kind, reply in results["replies"].items()]
    return table(["reply", "size", "bridge at 1/4, 1/2, whole", "C floor", "of the floor's speed",
                  "checking floor", "of the checking floor's speed", "growth",
                  "memory, times the reply"], rows)


def operation_row(one):
    name = one["name"].replace("/iterations:" + str(one.get("iterations")), "").split("/")
    title = name[0] + (f" {one['label']}" if one.get("label") else
                       f" {int(name[1]):,}" if len(name) > 1 else "")
    speed = (f"{one['bytes_per_second'] / MIB:.0f} MiB/s" if "bytes_per_second" in one else
             f"{one['items_per_second'] / 1e6:.2f} million/s" if "items_per_second" in one else "")
    return [title, f"{one['cpu_time']:,.0f} {one['time_unit']}", speed]


def operations_table(results):
    return table(["operation", "processor time", "speed"],
                 map(operation_row, results["operations"]))


class Capacity:
    """Where the processors' time of one request goes, from the rates at 16 at a time.

    The processors are the limit then, so a request takes all of them for one rate-th of a second.
    """

    def __init__(self, results):
        programs, column = results["apache"]["programs"], str(AT_ONCE[-1])
        self.processors = results["processors"]
        bridge, printing = programs["bridge"][column], programs["static printing program"][column]
        self.start = results["small"]["GET"]["static printing program"]["seconds"]
        self.loader = self.processors * (1 / programs["printing program"][column]["rate"]
                                         - 1 / printing["rate"])
        self.apache = (self.processors / printing["rate"] - printing["generator_seconds"]
                       - self.start)
        self.server = bridge["server_seconds"]
        self.bridge = (self.processors / bridge["rate"] - bridge["generator_seconds"]
                       - self.server - self.apache - self.start)

    def is_plausible(self):
        """Where others use the processors, too, the rates are theirs as much as the programs'."""
        return min(self.apache, self.bridge, self.server) > 0

    def table(self):
        costs = [("Apache, and what its forks take more", self.apache),
                 ("fork, exec and end of the least program", self.start),
                 ("the bridge, beyond the least program", self.bridge),
                 ("the fast server", self.server)]
        whole = sum(cost for _, cost in costs)
        return table(["part", "processor time of a request", "share"],
                     [[name, milliseconds(cost), f"{cost / whole:.0%}"] for name, cost in costs])

    def rates_table(self):
        rows = []
        for server in self.server, *(one / 1000 for one in SERVER_MILLISECONDS):
            whole = self.apache + self.start + self.bridge + server
            rows.append([milliseconds(server), f"{self.processors / whole:.0f}",
                         f"{self.bridge / whole:.1%}"])
        return table(["processor time of the server's answer", "requests a second",
                      "the bridge's share"], rows)


def surroundings(results):
    packages = ", ".join(f"{name} {version}" for name, version in results["packages"].items())
    return textwrap.fill(
        f"Measured on {results['date']}, {results['system']}, Linux {results['kernel']}, "
        f"{results['processors']} × {results['processor']}, "
        f"{results['memory_bytes'] / MIB / 1024:.0f} GiB of memory; Python {results['python']}; "
        f"{packages}.", 100)


def per_mib(measured):
    whole = measured["sizes"][-1]
    return milliseconds(whole["seconds"] / whole["bytes"] * MIB)


def values(results):
    """What the page's template asks for, by name."""
    small, forms = results["small"], results["forms"]["shapes"]
    capacity, without = Capacity(results), WithoutCPUIDs(results)
    large = {"prose": forms["one value, prose"], "fields": forms["many small fields"],
             "tiny": forms["many tiny fields"],
             "reply": max(results["replies"].values(), key=lambda reply: reply["memory"])}
    return {
        "surroundings": surroundings(results), "small": small_table(results),
        "counts": counts_table(results), "files": files_table(results),
        "cpuids": without.table(),
        "cpuid_cost": f"{without.one * 1e6:.1f} µs",
        "cpuid_share": f"{without.share_of_gain():.0%}",
        "loader_cost": milliseconds(capacity.loader), "aims": aims_table(results),
        "apache": apache_table(results),
        "forms": forms_table(results), "replies": replies_table(results),
        "operations": operations_table(results), "capacity": capacity.table(),
        "rates": capacity.rates_table(), "processors": results["processors"],
        "cheap_rounds": small["rounds"][0], "dear_rounds": small["rounds"][1],
        "form_bytes": small["form_bytes"], "apache_seconds": results["apache"]["seconds"],
        "apache_rounds": results["apache"]["rounds"],
        **explanations(results),
        "bridge_memory": mebibytes(small["peaks"]["bridge"]),
        **{f"{name}_per_mib": per_mib(measured) for name, measured in large.items()},
        **{f"{name}_memory": f"{measured['memory']:.1f}" for name, measured in large.items()},
    }


def explanations(results):
    """What the targets that are missed are made of."""
    get, counts = results["small"]["GET"], results["small"]["counts"]
    bridge, careful, static, floor = (get[name]["seconds"] for name in (
        "bridge", "careful floor", "static C floor", "C floor"))
    loader = sum(count for file, count in counts["dynamic bridge"]["by_file"].items()
                 if file.startswith("ld-"))
    lines = {name: one["code_lines"] + one["data_lines"] for name, one in counts.items()}
    return {"request_work": milliseconds(bridge - careful),
            "request_lines": f"{lines['bridge'] - lines['careful floor']:,}",
            "careful_static": f"{careful / static:.2f}", "careful_floor": f"{careful / floor:.2f}",
            "dynamic_limit": f"{loader + counts['bridge']['instructions']:,}"}


def page(template, results):
    return string.Template(template).substitute(values(results))


def tables_only(results):
    found = values(results)
    names = ("surroundings", "small", "counts", "files", "aims", "cpuid_cost", "cpuids",
             "cpuid_share", "apache", "forms", "replies", "operations", "capacity", "loader_cost",
             "rates")
    return "\n\n".join(found[name] for name in names)


if __name__ == "__main__":
    with open(sys.argv[1], encoding="utf-8") as results_file:
        print(tables_only(json.load(results_file)))
