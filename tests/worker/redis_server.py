"""A redis-server for tests and benchmarks."""
import contextlib
import shutil
import socket
import subprocess
import sys
import time

if shutil.which("redis-server") is None:
    print("skipped: redis-server is not installed")
    sys.exit(77)

# How many wait for somebody to take them.
ANSWERS = "local n = 0 for i = 0, 15 do n = n + redis.call('XLEN', 'nivra:{' .. i .. '}:out') end return n"


def free_port():
    with socket.socket() as probe:
        probe.bind(("127.0.0.1", 0))
        return probe.getsockname()[1]


class Redis:
    """A server on the loopback whose files are in a folder.

    fsync: its appendfsync; empty to keep nothing on the disk.
    """

    def __init__(self, folder, fsync=""):
        self.folder, self.fsync, self.port = folder, fsync, free_port()
        self.start()

    def start(self):
        settings = ["--appendonly", "yes", "--appendfsync", self.fsync] if self.fsync else []
        self.process = subprocess.Popen(["redis-server", "--port", str(self.port), "--bind", "127.0.0.1", "--save", "",
                                         "--dir", self.folder, "--logfile", "redis.log", *settings])
        self.wait()

    def wait(self):
        for _ in range(2000):
            with contextlib.suppress(OSError):
                if self.ask("PING") == "PONG":
                    return
            time.sleep(0.01)
        raise RuntimeError("redis-server does not answer")

    def ask(self, *words, number=False):
        """What it says to a command, if that is a line or a number."""
        with socket.create_connection(("127.0.0.1", self.port), timeout=5) as way:
            way.sendall(f"*{len(words)}\r\n".encode() + b"".join(b"$%d\r\n%s\r\n" % (len(word.encode()), word.encode())
                                                                for word in words))
            reply = way.makefile("rb").readline().decode().strip()[1:]
            return int(reply) if number else reply

    def kill(self):
        self.process.kill()
        self.process.wait()
