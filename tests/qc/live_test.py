# SPDX-License-Identifier: BSD-2-Clause
"""Live runs of lumagauge-qc as an operator has them: pipes, sockets, signals, time.

Called with the program and the project's folder; further arguments go to unittest.
"""

import contextlib
import glob
import http.server
import json
import os
import shutil
import signal
import socket
import subprocess
import sys
import tempfile
import threading
import time
import unittest

import jsonschema

PROGRAM, PROJECT = map(os.path.abspath, sys.argv[1:3])
WIDTH, HEIGHT, RATE = 176, 144, 25
RAW = ["--raw", "--size", f"{WIDTH}x{HEIGHT}", "-"]
FRAME = WIDTH * HEIGHT * 3 // 2
BLACK = bytes([16]) * (WIDTH * HEIGHT) + bytes([128]) * (WIDTH * HEIGHT // 2)
PROMISED = 1.0  # seconds that an event may come later than its rule must wait
INSTRUMENTED = "INSTRUMENTED" in os.environ  # sanitizers keep memory of their own
FEW = ["--indicators", "blackout,exposure,temporal_activity,blur"]
with open(f"{PROJECT}/docs/lumagauge-events-1.schema.json") as file:
    LINE = jsonschema.Draft202012Validator(json.load(file))


def ffmpeg(*arguments):
    command = ["ffmpeg", "-v", "error", "-nostdin", *arguments]
    return subprocess.run(command, check=True, capture_output=True).stdout


SOURCE = ["-f", "lavfi", "-i", f"testsrc2=s={WIDTH}x{HEIGHT}:r={RATE}"]
PICTURES = ffmpeg(*SOURCE, "-frames:v", "50", "-pix_fmt", "yuv420p", "-f", "rawvideo", "-")
TS = ["-c:v", "mpeg2video", "-g", "5", "-b:v", "2M", "-f", "mpegts"]


def free_port(kind):
    with socket.socket(socket.AF_INET, kind) as probe:
        probe.bind(("127.0.0.1", 0))
        return probe.getsockname()[1]


class Live:
    """A live run; its lines as they come, each with the time of its arrival."""

    def __init__(self, *arguments, folder=None):
        self.process = subprocess.Popen(
            [PROGRAM, "--live", *arguments], cwd=folder,
            stdin=subprocess.PIPE, stdout=subprocess.PIPE, stderr=subprocess.PIPE)
        self.lines, self.grown = [], threading.Condition()
        self.reader = threading.Thread(target=self.read, daemon=True)
        self.reader.start()

    def read(self):
        for text in self.process.stdout:
            line = json.loads(text)
            LINE.validate(line)
            with self.grown:
                self.lines.append(line | {"arrived": time.monotonic()})
                self.grown.notify_all()

    def write(self, data):
        self.process.stdin.write(data)
        self.process.stdin.flush()

    def wait_for(self, what, count=1, **members):
        """The first line of the type with these members, or a later one."""
        def found():
            return [l for l in self.lines if l["type"] == what and members.items() <= l.items()]
        with self.grown:
            enough = self.grown.wait_for(lambda: len(found()) >= count, timeout=20)
            assert enough, (what, members, self.lines)
            return found()[count - 1]

    def finish(self):
        with contextlib.suppress(BrokenPipeError):
            self.process.stdin.close()
        self.reader.join(20)
        self.errors = self.process.stderr.read().decode()
        self.process.stderr.close()
        self.process.stdout.close()
        return self.process.wait(20)

    def memory(self):
        with open(f"/proc/{self.process.pid}/status") as status:
            return next(int(l.split()[1]) for l in status if l.startswith("RssAnon"))


class InFolder(unittest.TestCase):
    def setUp(self):
        self.folder = tempfile.mkdtemp(prefix="lumagauge-")
        self.addCleanup(shutil.rmtree, self.folder)

    def path(self, name):
        return os.path.join(self.folder, name)

    def start(self, *arguments):
        run = Live(*arguments, folder=self.folder)
        self.addCleanup(run.process.kill)
        return run


class LiveTest(InFolder):
    def test_memory_does_not_grow_in_an_hour(self):
        run = self.start(*FEW, "--metrics", "live.prom", *RAW)
        for _ in range(20):
            run.write(PICTURES)
        run.wait_for("connect")
        time.sleep(0.5)
        before, most = run.memory(), 0
        minutes = 2 if INSTRUMENTED else 60
        for number in range(20, minutes * 30):
            run.write(PICTURES)
            if number % 40 == 0:
                most = max(most, run.memory())
        self.assertEqual(run.finish(), 0)
        self.assertEqual((run.lines[-1]["frames"], run.lines[-1]["windows"]),
                         (minutes * 1500, minutes))
        if not INSTRUMENTED:
            self.assertLess(most - before, 1000)

    def test_events_come_in_time(self):
        with open(self.path("rules.toml"), "w") as rules:
            rules.write("[black]\nindicator = 'blackout'\ncomparison = '>'\nthreshold = 0\n"
                        "severity = 'warn'\nmax_duration = 0.6\n"
                        "[underexposed]\nindicator = 'brightness.rise'\ncomparison = '<'\n"
                        "threshold = -40\nmin_duration = 0.4\n")
        run = self.start("--profile", "rules.toml", "--window", "2s", *RAW)
        begin = time.monotonic() + 0.1
        for number in range(125):
            time.sleep(max(0, begin + number / RATE - time.monotonic()))
            at = number % 50 * FRAME
            run.write(BLACK if 50 <= number < 75 else PICTURES[at:at + FRAME])
        # What happened, when it was to be known, in seconds after the first frame.
        for kind, event, due in [
            ("open", "black", 2.0), ("raise", "black", 2.6), ("close", "black", 3.0),
            ("open", "underexposed", 2.4 + 2.0), ("window", None, 2.0), ("window", None, 4.0)]:
            with self.subTest(kind=kind, event=event, due=due):
                members = {"kind": event} if event else {"end": due}
                delay = run.wait_for(kind, **members)["arrived"] - begin - due
                self.assertGreater(delay, -1 / RATE)
                self.assertLess(delay, PROMISED)
        black = run.wait_for("close", kind="black")
        self.assertEqual((black["start_frame"], black["end_frame"], black["severity"]),
                         (50, 74, "warn"))
        self.assertEqual(run.finish(), 0)

    def test_a_killed_run_starts_again(self):
        arguments = ["--events", "lines", "--metrics", "live.prom", "-o", "out", "--rotate", "1s",
                     "--window", "1s", *FEW, *RAW]
        for status in (-signal.SIGKILL, 0):
            run = self.start(*arguments)
            run.write(PICTURES + BLACK * 30)
            deadline = time.monotonic() + 10
            while not glob.glob(self.path("out/*2.json")) and time.monotonic() < deadline:
                time.sleep(0.01)
            if status:
                run.process.kill()
            self.assertEqual(run.finish(), status)
            with open(self.path("live.prom")) as metrics:
                self.assertIn("lumagauge_frames_total{input=\"-\"}", metrics.read())
            with open(self.path("lines"), "a") as lines:
                lines.write('{"torn' if status else "")
            time.sleep(1)  # parts of another second
        with open(self.path("lines")) as lines:
            types = [json.loads(l)["type"] if not l.startswith('{"torn') else "torn" for l in lines]
        self.assertEqual(types.count("begin"), 2)
        self.assertEqual(types[types.index("torn") + 1], "begin")
        self.assertEqual((types.count("end"), types[-1]), (1, "end"))
        # A kill leaves at most the one file that was just getting its name, and no half result.
        self.assertLessEqual(len(glob.glob(self.path("out/*.part"))), 1)
        results = glob.glob(self.path("out/*.json"))
        self.assertGreaterEqual(len(results), 2 + 4)
        for result in results:
            with open(result) as text, open(result.removesuffix("json") + "csv", "rb") as csv:
                self.assertEqual(json.load(text)["csv"]["size"], len(csv.read()))

    def test_nothing_arrives(self):
        run = self.start("--timeout", "0.4", *RAW)
        run.write(PICTURES)
        self.assertEqual((run.process.wait(10), run.finish()), (2, 2))
        self.assertEqual(run.lines[-1]["cause"], "reading stopped: nothing arrived within --timeout")
        self.assertEqual((run.lines[-1]["frames"], run.lines[-1]["verdict"]), (50, "unmeasured"))
        ended = subprocess.run([PROGRAM, "--timeout", "0.3", *RAW], stdin=self.stalled(),
                               capture_output=True, timeout=20)
        self.assertEqual(ended.returncode, 2)
        self.assertIn(b"nothing arrived", ended.stdout)

    def stalled(self):
        ours, theirs = os.pipe()
        self.addCleanup(os.close, theirs)
        self.addCleanup(os.close, ours)
        return ours

    def test_a_pipe_pauses(self):
        run = self.start("--timeout", "0.3", "--reconnect", *FEW, *RAW)
        run.write(PICTURES)
        lost = run.wait_for("open", kind="signal_lost")
        time.sleep(0.5)
        run.write(PICTURES)
        back = run.wait_for("close", id=lost["id"])
        self.assertAlmostEqual(back["waited"], 0.8, delta=0.5)
        self.assertEqual((lost["severity"], lost["start_frame"]), ("warn", 50))
        self.assertEqual(run.finish(), 0)
        self.assertEqual((run.lines[-1]["frames"], run.lines[-1]["verdict"]), (100, "warn"))

    def test_a_server_breaks_off(self):
        clip = ffmpeg(*SOURCE, "-frames:v", "50", *TS, "-")
        served = []

        class Server(http.server.BaseHTTPRequestHandler):
            def do_GET(self):
                served.append(time.monotonic())
                if len(served) in (2, 3):
                    self.send_error(503)
                    return
                self.send_response(200)
                self.end_headers()
                self.wfile.write(clip)
                self.close_connection = True

            def log_message(self, *arguments):
                pass

        with http.server.ThreadingHTTPServer(("127.0.0.1", 0), Server) as server:
            threading.Thread(target=server.serve_forever, daemon=True).start()
            run = self.start("--allow-protocols", "http", "--reconnect", "-o", "out", *FEW,
                             f"http://127.0.0.1:{server.server_port}/live.ts")
            run.wait_for("close", kind="signal_lost")
            run.process.terminate()
            self.assertEqual(run.finish(), 128 + signal.SIGTERM)
            server.shutdown()
        self.assertGreater(served[3] - served[2], 1.5 * (served[2] - served[1]))  # pauses grow
        connects = [l for l in run.lines if l["type"] == "connect"]
        self.assertGreater(connects[1]["time"], connects[0]["time"])
        self.assertGreaterEqual(len(glob.glob(self.path("out/*.json"))), 2)

    def test_a_sender_of_datagrams_pauses(self):
        port = free_port(socket.SOCK_DGRAM)
        sender = ["ffmpeg", "-v", "quiet", "-nostdin", "-re", *SOURCE, "-t", "1", *TS,
                  f"udp://127.0.0.1:{port}?pkt_size=1316"]
        run = self.start("--allow-protocols", "udp", "--timeout", "0.4", "--reconnect", *FEW,
                         f"udp://127.0.0.1:{port}")
        for count in (1, 2):
            run.wait_for("open", count, kind="signal_lost")  # at first there is none yet
            if count == 2:
                time.sleep(1.5)  # what the demuxer still held is no sign of a signal meanwhile
            subprocess.run(sender, check=True)
            back = run.wait_for("close", count, kind="signal_lost")
        self.assertGreater(back["waited"], 1.5)
        self.assertAlmostEqual(back["end"] - back["start"], back["waited"], delta=0.5)
        run.process.send_signal(signal.SIGINT)
        self.assertEqual(run.finish(), 128 + signal.SIGINT)
        self.assertGreater(run.lines[-1]["frames"], 30)

    def test_signals_end_it_with_what_is_measured(self):
        for number in (signal.SIGINT, signal.SIGTERM):
            run = self.start("-o", f"out{number}", *RAW)
            run.write(PICTURES[:30 * FRAME] + BLACK * 60)
            run.wait_for("open", kind="black")
            time.sleep(0.3)
            run.process.send_signal(number)
            self.assertEqual(run.finish(), 128 + number)
            end = run.lines[-1]
            self.assertEqual((end["cause"], end["frames"], end["verdict"]),
                             (f"interrupted by {number.name}", 90, "warn"))
            self.assertEqual(run.wait_for("close", kind="black")["end_frame"], 89)
            with open(glob.glob(self.path(f"out{number}/*.json"))[0]) as file:
                self.assertEqual(json.load(file)["interrupted"], True)

    def test_files_rotate(self):
        with open(self.path("clip.yuv"), "wb") as file:
            file.write(PICTURES * 4)
        subprocess.run([PROGRAM, "-o", "whole", *RAW[:-1], "clip.yuv"], cwd=self.folder,
                       check=True, capture_output=True)
        with open(self.path("whole/clip.yuv.csv"), newline="") as file:
            whole = file.read().splitlines(True)
        with open(f"{PROJECT}/docs/lumagauge-1.schema.json") as file:
            document = jsonschema.Draft202012Validator(json.load(file))
        for rotation, counts in (("2s", [50, 50, 50, 50]), ("100kB", None)):
            run = self.start("-o", rotation, "--rotate", rotation, *RAW)
            run.write(PICTURES * 4)
            self.assertEqual(run.finish(), 0)
            rows, frames = [], []
            for name in sorted(glob.glob(self.path(f"{rotation}/stdin-*-00000?.csv"))):
                with open(name, newline="") as file:
                    rows += file.read().splitlines(True)[1:]
                with open(name.replace(".csv", ".json")) as file:
                    part = json.load(file)
                document.validate(part | {"frames": part["frames"][:2]})
                frames.append(part["measured"]["frames"])
                self.assertEqual(part["summary"]["blur"]["count"], frames[-1])
            self.assertEqual(rows, whole[1:])
            self.assertGreater(len(frames), 1)
            self.assertEqual(frames, counts or frames)

    def test_what_cannot_be_is_refused(self):
        for arguments, message in [
                (["--live", "a", "b"], "--live takes one INPUT, 2 are given"),
                (["--live", "--start", "1", "-"], "--start cannot be used with --live"),
                (["--live", "--window", "0", "-"], "--window 0: expected"),
                (["--live", "-o", "d", "--rotate", "5mb", "-"], "--rotate 5mb: expected"),
                (["--timeout", "soon", "-"], "--timeout soon: expected"),
                (["--window", "5", "-"], "--window requires --live"),
                (["--live", "--events", "no/where", "-"], "--events no/where: cannot be written")]:
            ended = subprocess.run([PROGRAM, *arguments], cwd=self.folder, capture_output=True,
                                   stdin=subprocess.DEVNULL, text=True)
            self.assertEqual(ended.returncode, 2, arguments)
            self.assertIn(message, ended.stderr)


class MetricsTest(InFolder):
    def test_metrics_are_what_prometheus_reads(self):
        run = self.start("--metrics", "live.prom", *RAW)
        run.write(PICTURES + BLACK * 50)
        self.assertEqual(run.finish(), 0)
        with open(self.path("live.prom")) as file:
            text = file.read()
        for line in ('lumagauge_frames_total{input="-"} 100',
                     'lumagauge_events_total{input="-",kind="black"} 1',
                     'lumagauge_event_seconds_total{input="-",kind="black"} 2',
                     'lumagauge_indicator{input="-",indicator="exposure"} 16',
                     'lumagauge_running{input="-"} 0'):
            self.assertIn(line + "\n", text)
        if not shutil.which("promtool"):
            self.skipTest("promtool is not installed (script/setup check)")
        checked = subprocess.run(["promtool", "check", "metrics"], input=text.encode(),
                                 capture_output=True)
        self.assertEqual((checked.returncode, checked.stdout, checked.stderr), (0, b"", b""))


if __name__ == "__main__":
    result = unittest.main(argv=sys.argv[:1] + sys.argv[3:], exit=False).result
    sys.exit(77 if result.wasSuccessful() and len(result.skipped) == result.testsRun
             else not result.wasSuccessful())
