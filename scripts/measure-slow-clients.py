#!/usr/bin/env python3
# Usage: scripts/measure-slow-clients.py REPO (after make build).
# Measures a call's latency with eight slow-header connections held, and the
# stop after SIGTERM with one held; 127.0.0.1 only, every wait bounded.
import shutil, socket, subprocess, sys, time, tempfile, statistics, signal
root = sys.argv[1]
data = tempfile.mkdtemp()
srv = subprocess.Popen([root + "/build/apps/quillorn-server", "--port", "0", "--data", data, "--seed", "demo"],
                       stdout=subprocess.PIPE, stderr=subprocess.DEVNULL, text=True)
line = srv.stdout.readline().strip()
while not line.startswith("listening"): line = srv.stdout.readline().strip()
port = int(line.rsplit(":", 1)[1])
def call():
    t = time.perf_counter()
    r = subprocess.run([root + "/build/apps/quillorn", "rpc", "--server", f"127.0.0.1:{port}", "--timeout", "20",
                        "select", "sql=select count(*) from DOCS"], capture_output=True, text=True, timeout=30)
    return time.perf_counter() - t, r.returncode
base = [call() for _ in range(5)]
slow = []
for _ in range(8):
    s = socket.create_connection(("127.0.0.1", port), timeout=5)
    s.sendall(b"POST /cms HTTP/1.1\r\nHost: x\r\n")
    slow.append(s)
held = [call() for _ in range(5)]
for s in slow: s.close()
one = socket.create_connection(("127.0.0.1", port), timeout=5); one.sendall(b"POST /cms HTTP/1.1\r\n")
t = time.perf_counter(); srv.send_signal(signal.SIGTERM)
try:
    rc = srv.wait(timeout=30)
except subprocess.TimeoutExpired:
    srv.kill(); rc = "killed"
stop = time.perf_counter() - t
print("no slow connection: median %.1f ms (rc %s)" % (statistics.median(x[0] for x in base) * 1000, {x[1] for x in base}))
print("eight slow connections held: median %.1f ms, max %.1f ms (rc %s)" % (statistics.median(x[0] for x in held) * 1000, max(x[0] for x in held) * 1000, {x[1] for x in held}))
print("SIGTERM with a slow connection held: stopped in %.0f ms, exit %s" % (stop * 1000, rc))
shutil.rmtree(data, ignore_errors=True)
