"""What the tests of the mirror share: a simulated machine, the host on it, and the comparison of the rows
of the database with the topology that the host shows.

Which column shows which property is read from docs/database.md, so that the page is tried as well.
"""

import argparse
import contextlib
import json
import os
import pathlib
import queue
import random
import re
import shutil
import signal
import sqlite3
import subprocess
import sys
import tempfile
import threading
import time
import traceback

SOURCE = pathlib.Path(__file__).resolve().parents[2]
FLEET = SOURCE / "examples" / "fleets" / "known-drives.json"
PATIENCE = 120.0  # seconds until what does not happen counts as never happening
TIME_SCALE = 40  # the shortest poll interval, 2 s, becomes 50 ms
HOST = "localhost"
PLUGIN_ID = "0x0135000000000000"
FETCH_EVENTS = 50002
PLUGIN, ADAPTER, DRIVE = 19006, 19038, 19018  # object types

# Ids of properties.
SERIAL, MODEL, FIRMWARE, BOOTLOADER, NAME = 30022, 30063, 30020, 30500, 30007
SEGMENT, BUS, DEVICE, FUNCTION = 30479, 30037, 30038, 30039
TEMPERATURE, DRIVE_TEMPERATURE, HOURS, READ, WRITTEN = 30442, 30069, 30498, 30489, 30490
LIFE, MEDIA_ERRORS, SECTOR_SIZE = 30494, 30189, 30460
# Columns of the plug-in's row, for which the page gives no property id.
PLUGIN_COLUMNS = {"ToolVersion": 30004, "Name": NAME, "PollInterval": 30005, "Description": 30137,
                  "Vendor": 30003, "Version": 30099}
SETTABLE = '{"settableProperties":[{"name":"pollinterval","formatStr":"<int32>[2..255, 1]"}]}'


class Failure(Exception):
    """What was expected and what came, as lists of lines to be shown side by side."""

    def __init__(self, what, expected, actual):
        super().__init__(what)
        self.what = what
        self.expected = [expected] if isinstance(expected, str) else expected
        self.actual = [actual] if isinstance(actual, str) else actual

    def __str__(self):
        width = min(70, max([10] + [len(line) for line in self.expected]))
        lines = [self.what, f"    {'expected':<{width}}   actual"]
        for row in range(max(len(self.expected), len(self.actual))):
            one = self.expected[row] if row < len(self.expected) else ""
            other = self.actual[row] if row < len(self.actual) else ""
            lines.append(f"    {one:<{width}} {' ' if one == other else '|'} {other}")
        return "\n".join(lines)


def count(small, whole):
    """How often what needs numbers is done: small in the usual run."""
    return whole if os.environ.get("VX_TEST_WHOLE") == "1" else small


def make_random():
    """A new seed for each run, printed; VX_TEST_SEED repeats one."""
    seed = int(os.environ.get("VX_TEST_SEED") or random.SystemRandom().randrange(2**32))
    print(f"VX_TEST_SEED={seed}", flush=True)
    return random.Random(seed)


def wait_for(what, condition):
    """The first value of the condition that is neither None nor False."""
    limit = time.monotonic() + PATIENCE
    while True:
        value = condition()
        if value is not None and value is not False:
            return value
        if time.monotonic() > limit:
            raise Failure("waiting", what, f"not within {PATIENCE:g} s")
        time.sleep(0.01)


# --- the page about the database ------------------------------------------------------------------------

class Column:
    def __init__(self, cells):
        name, kind, unit, null, _, source = cells
        self.name = name.strip("`")
        self.type = kind.split()[0].upper()
        self.is_list = "list" in kind
        self.unit = "" if unit == "-" else unit
        self.never_null, self.always_null = null == "never", null == "always"
        found = re.search(r"\b30\d{3}\b", source)
        self.property = int(found.group()) if found else None


def documented_tables():
    """Table -> its columns as docs/database.md describes them."""
    tables, table = {}, None
    for line in (SOURCE / "docs" / "database.md").read_text().splitlines():
        if line.startswith("## "):
            table = line[3:].split(":")[0]
        elif line.startswith("| `"):
            tables.setdefault(table, []).append(Column([cell.strip() for cell in line.strip("|").split("|")]))
    for column in tables["Plugin"]:
        column.property = PLUGIN_COLUMNS.get(column.name)
    return tables


TABLES = documented_tables()


# --- the machine ----------------------------------------------------------------------------------------

class Bench:
    """A directory with a fleet of its own, options files, and the processes that work on it."""

    def __init__(self, tree):
        self.tree = tree
        self.root = pathlib.Path(tempfile.mkdtemp(prefix="mirror-"))
        self.fleet = self.root / "fleet.json"
        self.database = self.root / "mirror.db"
        self.temporary = self.root / "tmp"
        self.temporary.mkdir()
        self.processes = []
        shutil.copy(FLEET, self.fleet)
        (self.root / "etc").mkdir()
        (self.root / "etc" / "piTorvex.ini").write_text("PollInterval=2\n")
        (self.root / "etc" / "CustomOpOpts.ini").write_text("IntelPCIeTopologologyRefreshRate=0\n")

    def close(self):
        for process in self.processes:
            if process.poll() is None:
                process.kill()
                process.wait()
        for _ in range(10):  # a child of a killed host may still be writing
            shutil.rmtree(self.root, ignore_errors=True)
            if not self.root.exists():
                break
            time.sleep(0.1)

    def command(self, *words, database=None):
        """The words of a command of the host on this machine."""
        command = [str(self.tree / "vxhost"), *words, "--simulate", str(self.fleet),
                   "--config-dir", str(self.root / "etc"), "--time-scale", str(TIME_SCALE)]
        return command + (["--db", f"sqlite:{database}"] if database else ["--db", "none"])

    def start(self, command, **options):
        environment = dict(os.environ, TMPDIR=str(self.temporary))
        process = subprocess.Popen(command, env=environment, **options)
        self.processes.append(process)
        return process

    def forget_dead(self):
        """What killed processes have left behind."""
        self.processes = [process for process in self.processes if process.poll() is None]
        for path in self.temporary.iterdir():
            shutil.rmtree(path, ignore_errors=True)

    def read_fleet(self):
        return json.loads(self.fleet.read_text())

    def write_fleet(self, fleet):
        aside = self.fleet.with_name("fleet.json.new")
        aside.write_text(json.dumps(fleet, ensure_ascii=False))
        check = subprocess.run([str(self.tree / "bin" / "isdct"), "simulator", "check", str(aside)],
                               capture_output=True, text=True)
        if check.returncode != 0:
            raise Failure("a fleet that this test made", "a fleet", check.stderr.splitlines())
        aside.rename(self.fleet)

    def simulate(self, *words):
        """An edit with the simulator's own command line."""
        done = subprocess.run([str(self.tree / "bin" / "isdct"), "simulator", *words, "--fleet", str(self.fleet)],
                              capture_output=True, text=True)
        if done.returncode != 0:
            raise Failure(f"isdct simulator {' '.join(words)}", "status 0", [f"status {done.returncode}", done.stderr])

    def topology_of_tree(self):
        """What a host of its own shows of this machine: the plug-in, the adapters, the drives."""
        done = subprocess.run(self.command("tree", "--json"), capture_output=True, text=True,
                              env=dict(os.environ, TMPDIR=str(self.temporary)), timeout=PATIENCE)
        if done.returncode != 0:
            raise Failure("vxhost tree --json", "status 0", [f"status {done.returncode}", *done.stderr.splitlines()])
        return json.loads(done.stdout)["plugins"][0]["objects"]


class Session:
    """One "vxhost rpc" with its worker running."""

    def __init__(self, bench, database):
        self.answers, self.notifications = queue.Queue(), queue.Queue()
        self.log = bench.root / f"rpc-{len(bench.processes)}.log"
        with open(self.log, "wb") as errors:
            self.process = bench.start(bench.command("rpc", database=database), stdin=subprocess.PIPE,
                                       stdout=subprocess.PIPE, stderr=errors)
        threading.Thread(target=self.read, daemon=True).start()
        adapters = self.ask(command=1)["data"]
        for number, adapter in enumerate(adapters, 1):
            adapter["hostNumber"] = number
        self.ask(command=2, data=adapters)

    def read(self):
        for line in self.process.stdout:
            answer = json.loads(line)
            (self.notifications if "notify" in answer else self.answers).put(answer)
        self.answers.put(None)

    def ask(self, **request):
        text = json.dumps({"id": 1, **request})
        try:
            self.process.stdin.write(text.encode() + b"\n")
            self.process.stdin.flush()
            answer = self.answers.get(timeout=PATIENCE)
        except (queue.Empty, BrokenPipeError):
            answer = None
        if answer is None or answer.get("result") != 0:
            raise Failure(f"request {text[:100]}", "an answer with result 0",
                          [str(answer), f"process status {self.process.poll()}", *self.errors()])
        return answer

    def topology(self):
        return self.ask(command=4)["data"]

    def fetch_events(self):
        return self.ask(command=10, object=PLUGIN_ID, data={"id": FETCH_EVENTS})["data"]["events"]

    def errors(self):
        return self.log.read_text(errors="replace").splitlines()

    def finish(self):
        self.process.stdin.close()
        status = self.process.wait(timeout=PATIENCE)
        if status != 0:
            raise Failure("the end of vxhost rpc", "status 0", [f"status {status}", *self.errors()])


class Service:
    """One "vxhost run"."""

    def __init__(self, bench, database):
        self.lines, self.said = [], []
        self.process = bench.start(bench.command("run", database=database), stdout=subprocess.PIPE,
                                   stderr=subprocess.PIPE, text=True, errors="replace")
        self.readers = [threading.Thread(target=self.read, args=work, daemon=True)
                        for work in ((self.process.stdout, self.lines), (self.process.stderr, self.said))]
        for reader in self.readers:
            reader.start()

    @staticmethod
    def read(stream, lines):
        for line in stream:
            lines.append(line.rstrip("\n"))

    def wait_said(self, text):
        return self.wait_line(self.said, text)

    def wait_event(self, text):
        return self.wait_line(self.lines, text)

    def wait_line(self, lines, text):
        limit = time.monotonic() + PATIENCE
        while not any(text in line for line in lines):
            ended = self.process.poll() is not None
            if ended or time.monotonic() > limit:
                raise Failure("vxhost run", f'a line with "{text}"',
                              [f"status {self.process.returncode}", *self.lines, *self.said])
            time.sleep(0.01)
        return next(line for line in lines if text in line)

    def kill(self):
        self.process.kill()
        self.process.wait()

    def stop(self):
        self.process.send_signal(signal.SIGTERM)
        status = self.process.wait(timeout=PATIENCE)
        for reader in self.readers:
            reader.join(PATIENCE)
        if status != 0:
            raise Failure("vxhost run, asked to stop", "status 0", [f"status {status}", *self.said])


# --- rows and topology ----------------------------------------------------------------------------------

@contextlib.contextmanager
def opened(path, mode="ro"):
    connection = sqlite3.connect(f"file:{path}?mode={mode}", uri=True, timeout=30.0, isolation_level=None)
    try:
        yield connection
    finally:
        connection.close()


def read_rows(path):
    """Table -> rows (column -> value) of one moment; None when the file cannot be read."""
    try:
        with opened(path) as connection:
            connection.row_factory = sqlite3.Row
            connection.execute("BEGIN")
            return {table: [dict(row) for row in connection.execute(f"SELECT * FROM {table} ORDER BY ID")]
                    for table in TABLES}
    except sqlite3.Error:
        return None


def check_integrity(path):
    with opened(path) as connection:
        found = [row[0] for row in connection.execute("PRAGMA integrity_check")]
    if found != ["ok"]:
        raise Failure(f"integrity of {path}", "ok", found)


def properties_of(item):
    return {one["id"]: one["value"] for one in item["properties"]}


def objects_of(topology, kind):
    return [item for item in topology if item["type"] == kind]


def cell_of(value):
    """The cell that stands for a property's value."""
    if isinstance(value, dict):
        value = value["value"] if "value" in value else value["selected"]
    if isinstance(value, list):
        return "|".join(str(one) for one in value)
    if isinstance(value, str):
        text = value.replace("\0", "")
        return None if text == "NULL" else text
    return value


def row_of(table, item, keys):
    """The row of an object, without its identity. Every property must have a column."""
    properties = properties_of(item)
    row = {"ObjectID": int(item["id"], 16), **keys}
    for column in TABLES[table]:
        if column.property is not None:
            row[column.name] = cell_of(properties.pop(column.property, None))
    if properties:
        raise Failure(f"table {table}", "a column for every property", f"none for {sorted(properties)}")
    return {column.name: row.get(column.name) for column in TABLES[table] if column.name != "ID"}


def expected_rows(topology):
    """Table -> the rows that mirror the topology. Of the drives those that are there."""
    adapters = objects_of(topology, ADAPTER)
    temperature = {properties_of(one)[SERIAL]: properties_of(one).get(TEMPERATURE) for one in adapters}
    rows = {"Plugin": [row_of("Plugin", one, {"SettableProperties": SETTABLE}) for one in objects_of(topology, PLUGIN)],
            "Adapter": [row_of("Adapter", one, {"Host": HOST}) for one in adapters],
            "PD": [row_of("PD", one, {"Host": HOST}) for one in objects_of(topology, DRIVE)]}
    for row in rows["PD"]:  # the property is shown for drives of some names only
        row["Temperature"] = temperature.get(row["SerialNumber"])
    return rows


KEYS = {"Plugin": "Name", "Adapter": "AdapterNumber", "PD": "SerialNumber"}


def same_cell(one, other):
    if isinstance(one, float) or isinstance(other, float):
        return isinstance(one, (int, float)) and isinstance(other, (int, float)) and abs(one - other) < 1e-5
    return one == other


def differences(topology, rows, gone=None, same=lambda table, column, one, other: same_cell(one, other)):
    """Pairs (expected, actual) of all that the rows show otherwise than the topology. gone: by serial number
    the rows of drives that may be away, None for a row of any values; without it any row may be there."""
    found = []
    for table, wanted in expected_rows(topology).items():
        key = KEYS[table]
        left = list(rows[table])
        for row in sorted(wanted, key=lambda one: str(one[key])):
            mine = [one for one in left if one[key] == row[key]]
            left = [one for one in left if one[key] != row[key]]
            if len(mine) != 1:
                found.append((f"{table} {row[key]}: 1 row", f"{len(mine)} rows"))
            for name in row if len(mine) == 1 else ():
                if not same(table, name, row[name], mine[0][name]):
                    found.append((f"{table} {row[key]}: {name} = {row[name]!r}", repr(mine[0][name])))
        if table == "PD":
            left = [one for one in left if gone is not None and gone.get(one[key], {}) not in (None, one)]
        found += [("no other row", f"{table} {one[key]}: {one}") for one in left]
    return found + null_findings(rows)


def null_findings(rows):
    found = []
    for table, columns in TABLES.items():
        for column in columns:
            for row in rows[table]:
                if row[column.name] is None and column.never_null:
                    found.append((f"{table}.{column.name}: never null", "null"))
                if row[column.name] is not None and column.always_null:
                    found.append((f"{table}.{column.name}: always null", repr(row[column.name])))
    return found


def require_same(what, found):
    if found:
        raise Failure(what, [one for one, _ in found], [other for _, other in found])


# --- topology and fleet ---------------------------------------------------------------------------------

def shown_drive(drive):
    """What an adapter and its drive must show of a drive of the fleet, by property id."""
    segment, bus, device, function = re.fullmatch(
        r"(\w+):(\w+):(\w+)\.(\w+)", drive["pci"]["address"]).groups()
    shown = {MODEL: drive["model"], FIRMWARE: cell_of(drive.get("firmware")),
             BOOTLOADER: cell_of(drive.get("bootloader")), SEGMENT: int(segment, 16), BUS: int(bus, 16),
             DEVICE: int(device, 16), FUNCTION: int(function, 16), SECTOR_SIZE: drive["sectorSize"],
             TEMPERATURE: None, HOURS: None, READ: None, WRITTEN: None, LIFE: None}
    if drive.get("state", "live") == "live":
        health = drive["health"]
        shown.update({TEMPERATURE: health["temperature"], HOURS: health["powerOnHours"], READ: health["dataUnitsRead"],
                      WRITTEN: health["dataUnitsWritten"], LIFE: 100 - min(100, health["percentageUsed"]),
                      MEDIA_ERRORS: health["mediaErrors"]})
    return shown


def fleet_differences(fleet, topology):
    """Pairs (expected, actual) of what the topology does not show yet of the fleet."""
    drives = {drive["serial"]: drive for drive in fleet["drives"] if drive.get("present", True)}
    adapters = {properties_of(one)[SERIAL]: properties_of(one) for one in objects_of(topology, ADAPTER)}
    behind = {properties_of(one)[SERIAL]: properties_of(one) for one in objects_of(topology, DRIVE)}
    found = []
    for shown in (adapters, behind):
        if sorted(shown) != sorted(drives):
            found.append((f"drives {sorted(drives)}", f"drives {sorted(shown)}"))
    for serial in set(drives) & set(adapters) & set(behind):
        both = {**behind[serial], **adapters[serial]}
        for number, value in shown_drive(drives[serial]).items():
            actual = cell_of(both.get(number))
            if not same_cell(value, actual):
                found.append((f"{serial}: {number} = {value!r}", repr(actual)))
    return found


def without_counters(topology):
    return [{key: value for key, value in item.items() if key not in ("readCounter", "locked")} for item in topology]


def settle(session, bench, database, wait_for_rows=False, gone=None):
    """Waits until the topology shows the fleet, then compares it with the rows of the same moment: a
    topology that is the same before and after the rows were read was not merged meanwhile. With
    wait_for_rows the rows may follow later. Returns topology and rows."""
    limit = time.monotonic() + PATIENCE
    fleet = bench.read_fleet()
    while True:
        before, rows, after = session.topology(), read_rows(database), session.topology()
        late = fleet_differences(fleet, before)
        if not late and without_counters(before) == without_counters(after):
            found = differences(before, rows, gone) if rows is not None else [("a database", "unreadable")]
            if not found:
                return before, rows
            if not wait_for_rows or time.monotonic() > limit:
                require_same("the mirror differs from the topology", found)
        if time.monotonic() > limit:
            require_same("the topology does not show the fleet", late or [("a topology that stays", "it changes")])
        time.sleep(0.02)


# --- random changes -------------------------------------------------------------------------------------

NASTY = ["O'Neil", "x'; DROP TABLE Adapter; --", "a|b|c", "NULL", "0", " blank ", 'say "hi"', "grüß\tdich", "%s%n",
         "/* */", "1e309", "-- '';'"]
LONGEST_FIRMWARE = 8


class Changer:
    """Random changes of a fleet, one at a time."""

    def __init__(self, bench, chance, least_present=0):
        self.bench, self.chance, self.least_present = bench, chance, least_present
        self.made = 0
        self.kinds = {}
        self.new_drives = 0

    def change(self):
        """Makes one change and returns what it was."""
        while True:
            kind = self.chance.choice(CHANGES)
            fleet = self.bench.read_fleet()
            what = getattr(self, kind)(fleet)
            if what is None:
                continue  # nothing to do it to
            self.made += 1
            self.kinds[kind] = self.kinds.get(kind, 0) + 1
            return f"{kind}: {what}"

    def one(self, fleet, present=True):
        drives = [drive for drive in fleet["drives"] if drive.get("present", True) == present]
        return self.chance.choice(drives) if drives else None

    def simulate(self, command, drive, *words):
        if drive is None:
            return None
        self.bench.simulate(command, drive["serial"], *words)
        return " ".join([drive["serial"], *words])

    def pull(self, fleet):
        present = [drive for drive in fleet["drives"] if drive.get("present", True)]
        return self.simulate("pull", self.one(fleet)) if len(present) > self.least_present else None

    def plug(self, fleet):
        return self.simulate("plug", self.one(fleet, present=False))

    def add(self, fleet):
        """A drive that was never there, with texts of all sorts."""
        if len(fleet["drives"]) >= 10:
            return None
        self.new_drives += 1
        number = len(fleet["drives"])
        drive = json.loads(json.dumps(fleet["drives"][2]))
        drive.update(serial=f"N{self.new_drives}{self.chance.choice(NASTY)[:14]}".strip(), index=number,
                     devicePath=f"/dev/nvme{number}n1", present=True)
        self.name(drive)
        drive["pci"].update(address=f"0000:{0x80 + number:02x}:00.0", slot=str(100 + number))
        if any(one["serial"] == drive["serial"] for one in fleet["drives"]):
            return None
        fleet["drives"].append(drive)
        self.bench.write_fleet(fleet)
        return drive["serial"]

    def heat(self, fleet):
        return self.simulate("heat", self.one(fleet), "--to", str(self.chance.randrange(20, 100)))

    def wear(self, fleet):
        big = 2**self.chance.randrange(1, 50)
        words = self.chance.sample([
            ("--used", self.chance.randrange(256)), ("--spare", self.chance.randrange(101)),
            ("--read", self.chance.randrange(big)), ("--written", self.chance.randrange(big)),
            ("--hours", self.chance.randrange(100000)), ("--media-errors", self.chance.randrange(1000))], 3)
        return self.simulate("wear", self.one(fleet), *(str(word) for pair in words for word in pair))

    def fail(self, fleet):
        how = self.chance.choice(["spare", "reliability", "read-only", "backup", "dead"])
        return self.simulate("fail", self.one(fleet), "--how", how)

    def repair(self, fleet):
        return self.simulate("repair", self.one(fleet))

    def format(self, fleet):
        return self.simulate("format", self.one(fleet), "--sector-size", str(self.chance.choice([512, 4096])))

    def renumber(self, fleet):
        """The tool counts the drives anew, in another order."""
        drives = [drive for drive in fleet["drives"] if drive.get("present", True)]
        if len(drives) < 2:
            return None
        one, other = self.chance.sample(drives, 2)
        one["index"], other["index"] = other["index"], one["index"]
        self.bench.write_fleet(fleet)
        return f"{one['serial']}, {other['serial']}"

    def move(self, fleet):
        """Two drives change places."""
        drives = [drive for drive in fleet["drives"] if drive.get("present", True)]
        if len(drives) < 2:
            return None
        one, other = self.chance.sample(drives, 2)
        for member in ("address", "slot"):
            one["pci"][member], other["pci"][member] = other["pci"][member], one["pci"][member]
        self.bench.write_fleet(fleet)
        return f"{one['serial']}, {other['serial']}"

    def rename(self, fleet):
        drive = self.one(fleet)
        if drive is None:
            return None
        self.name(drive)
        self.bench.write_fleet(fleet)
        return f"{drive['serial']} firmware {drive.get('firmware')!r} boot loader {drive['bootloader']!r}"

    def name(self, drive):
        drive["bootloader"] = self.chance.choice(NASTY)
        firmware = self.chance.choice(["", *NASTY]).encode()[:LONGEST_FIRMWARE].decode(errors="ignore")
        drive.pop("firmware", None)
        if firmware:
            drive["firmware"] = firmware

    def several(self, _fleet):
        """Several changes that one scan may see at once."""
        made = self.made
        parts = [self.change() for _ in range(self.chance.randrange(2, 5))]
        self.made = made
        return "; ".join(parts)


CHANGES = ["pull", "plug", "plug", "add", "heat", "wear", "wear", "fail", "repair", "format", "renumber", "move",
           "rename", "several"]


# --- running --------------------------------------------------------------------------------------------

def run_tests(description, tests):
    """The main program of a test file: runs each function on a machine of its own."""
    parser = argparse.ArgumentParser(description=description)
    parser.add_argument("--tree", type=pathlib.Path, required=True, help="the runtime tree as it was built")
    parser.add_argument("--only", default="", help="only the tests whose name holds this text")
    options = parser.parse_args()
    failed = run = 0
    for test in tests:
        if options.only not in test.__name__:
            continue
        started, bench = time.monotonic(), Bench(options.tree.resolve())
        run += 1
        try:
            test(bench)
            print(f"ok    {test.__name__} ({time.monotonic() - started:.1f} s)")
        except Failure as failure:
            failed += 1
            print(f"FAIL  {test.__name__}\n  {failure}")
        except Exception:  # a broken test is a failed test, and the next one still runs
            failed += 1
            print(f"FAIL  {test.__name__}\n{traceback.format_exc()}")
        finally:
            bench.close()
        sys.stdout.flush()
    print(f"{run - failed} passed, {failed} failed")
    return 1 if failed or not run else 0
