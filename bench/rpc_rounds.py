"""The transport and native gRPC, the same calls by turns: see bench/rpc/."""

import contextlib
import pathlib
import random
import subprocess
import sys
import tempfile

CERTIFICATES = pathlib.Path(__file__).parent.parent / "examples/make-certificates.sh"
WHO = ("ours", "native")
# Seconds that calls are repeated for, and messages that subscribers get in all, in one round.
SECONDS = 0.4
MESSAGES = 20_000


class Process:
    """A server or client, see bench/rpc/main.cc."""

    def __init__(self, *command):
        self.process = subprocess.Popen(command, stdin=subprocess.PIPE, stdout=subprocess.PIPE,
                                        text=True, bufsize=1)

    def tell(self, *words):
        self.process.stdin.write(" ".join(map(str, words)) + "\n")

    def answer(self):
        line = self.process.stdout.readline()
        if not line:
            sys.exit(f"{self.process.args} failed")
        return line.split()

    def ask(self, *words):
        self.tell(*words)
        return [float(word) for word in self.answer()]

    def close(self):
        self.process.stdin.close()
        self.process.wait()
        self.process.stdout.close()


def calls(server, client, size, callers):
    """Microseconds: a call's share of the time, median, 99th percentile, CPU of both processes."""
    before, = server.ask("cpu")
    number, seconds, cpu, median, percentile = client.ask("call", size, callers, SECONDS)
    after, = server.ask("cpu")
    return {"a call": seconds / number * 1e6, "median": median, "99th percentile": percentile,
            "CPU": (cpu + after - before) / number * 1e6}


def push(server, client, subscribers):
    before, = server.ask("cpu")
    client.tell("receive", subscribers)
    client.answer()
    count = MESSAGES // subscribers
    after, = server.ask("publish", count)
    messages, seconds, cpu = (float(word) for word in client.answer())
    if messages != count * subscribers:
        sys.exit(f"{messages} of {count * subscribers} messages arrived")
    return {"a message": seconds / messages * 1e6, "CPU": (cpu + after - before) / messages * 1e6}


def measurements():
    """(name, function, its arguments, pairs of client and server)"""
    both = [(who, who) for who in WHO]
    crossed = [("ours", "native"), ("native", "ours")]
    yield "small call", calls, ("small", 1), both + crossed
    for callers in (8, 64):
        yield f"small calls, {callers} callers", calls, ("small", callers), both
    for callers in (1, 8):
        yield f"query results, {callers} callers", calls, ("large", callers), both
    for subscribers in (1, 10, 100):
        yield f"push to {subscribers}", push, (subscribers,), both


def measure(program, rounds, add):
    """Calls add(key, value) with rpc/SECURITY/NAME/FIGURE/CLIENT to SERVER, lower is better."""
    with contextlib.ExitStack() as stack:
        folder = stack.enter_context(tempfile.TemporaryDirectory())
        subprocess.run([CERTIFICATES, folder], check=True)
        jobs = []
        for security, certificates in (("plaintext", ""), ("TLS", folder)):
            servers, clients = {}, {}
            for who in WHO:
                servers[who] = Process(program, "server", who, certificates)
                stack.callback(servers[who].close)
            addresses = {who: server.answer()[0] for who, server in servers.items()}
            for name, function, details, pairs in measurements():
                for client, server in pairs:
                    if (client, server) not in clients:
                        process = Process(program, "client", client, certificates,
                                          addresses[server])
                        stack.callback(process.close)
                        clients[client, server] = process
                    jobs.append((f"rpc/{security}/{name}", f"{client} to {server}", function,
                                 (servers[server], clients[client, server], *details)))
        for number in range(rounds):
            print(f"rpc: round {number + 1} of {rounds}", file=sys.stderr)
            for name, pair, function, details in random.sample(jobs, len(jobs)):
                for figure, value in function(*details).items():
                    add(f"{name}/{figure}/{pair}", round(value, 3))
