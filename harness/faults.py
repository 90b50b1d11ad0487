"""The faults of a soak. Each is a context: it holds while the context is open."""
import contextlib
import os
import random
import resource
import shutil
import signal
import struct
import subprocess

import watch
from node import set_name_servers

DAY, YEAR = 86400, 365 * 86400
CLOCK_STEPS = (2, -2, 50, -50, 3600, -3600, DAY, -DAY, 400 * DAY, -400 * DAY, 30 * YEAR, -30 * YEAR)
HERD, HERD_NAME = 300, "pluto"  # a name that the daemon looks for
PAIRS = 40  # of interfaces


# --- the management server

def server_says(text):
    @contextlib.contextmanager
    def fault(soak):
        soak.node.write("fault", text)
        yield
        soak.node.write("fault", "ok")
    return fault


@contextlib.contextmanager
def server_down(soak):
    soak.stop_server()
    yield
    soak.start_server()


@contextlib.contextmanager
def server_stopped(soak):
    soak.node.server.send_signal(signal.SIGSTOP)
    yield
    soak.node.server.send_signal(signal.SIGCONT)


# --- the name servers

def names(mode):
    @contextlib.contextmanager
    def fault(soak):
        for server in soak.name_servers:
            server.mode = mode
        yield
        for server in soak.name_servers:
            server.mode = "good"
    return fault


@contextlib.contextmanager
def one_name_server_silent(soak):
    server = random.choice(soak.name_servers)
    server.mode = "silent"
    yield
    server.mode = "good"


@contextlib.contextmanager
def resolver_file_empty(soak):
    set_name_servers()
    yield
    set_name_servers(*soak.NAME_SERVERS)


# --- the node's own disk, clock and configuration

@contextlib.contextmanager
def disk_full(soak):
    """Under the local report, the log and the hosts file, which changes with each answer."""
    filler = soak.node.path("disk/filler")
    with open(filler, "wb", buffering=0) as file, contextlib.suppress(OSError):
        for size in (65536, 4096, 1):
            with contextlib.suppress(OSError):
                while True:
                    file.write(b"x" * size)
    yield
    os.unlink(filler)


@contextlib.contextmanager
def slow_disk(soak):
    """Under the same files: at first so slow that no turn of the loop may take long, then so slow that
    heartbeats must go out between the writes."""
    soak.slow_disk(write_ms=20, rename_ms=50)
    soak.pause(soak.fault_seconds / 2)
    soak.longest_turns.append(soak.longest_turn())
    soak.slow_disk(write_ms=285, rename_ms=50)
    soak.heartbeats.allowance = 0.3
    yield
    soak.slow_disk(write_ms=0, rename_ms=0)
    soak.until_next_sent("slow disk")
    soak.heartbeats.allowance = 0


@contextlib.contextmanager
def clock_steps(soak):
    def set_offset(seconds):
        with open(soak.node.path("clock"), "r+b", buffering=0) as file:
            file.write(struct.pack("=q", seconds * 10**9))
    for step in random.sample(CLOCK_STEPS, 4):
        set_offset(step)
        soak.pause(soak.fault_seconds / 4)
    yield
    set_offset(0)


def bad_configuration(text):
    @contextlib.contextmanager
    def fault(soak):
        if text is None:
            os.unlink(soak.node.path("vos.conf"))
        else:
            soak.node.write("vos.conf", text)
        os.kill(soak.pid, signal.SIGUSR1)
        yield
        soak.node.write_conf()
        os.kill(soak.pid, signal.SIGUSR1)
    return fault


@contextlib.contextmanager
def reloads(soak):
    for number in range(40):
        os.kill(soak.pid, signal.SIGUSR1)
        if number % 10 == 0:
            soak.vosctl("reload")
        soak.pause(soak.fault_seconds / 80)
    yield


# --- the machine

@contextlib.contextmanager
def herd(soak):
    """Hundreds of monitored processes come, and go while they are measured."""
    program = soak.node.path(HERD_NAME)
    if not os.path.exists(program):
        shutil.copy(shutil.which("sleep"), program)
    children = [subprocess.Popen([program, "1000"]) for _ in range(HERD)]
    soak.pause(soak.fault_seconds / 2)
    for child in children[::2]:
        child.kill()
    yield
    for child in children:
        child.kill()
    for child in children:
        child.wait()


@contextlib.contextmanager
def interfaces(soak):
    def batch(*commands):
        subprocess.run(["ip", "-force", "-batch", "-"], input="\n".join(commands), text=True,
                       check=True, capture_output=True)
    batch(*(f"link add a{n} type veth peer name b{n}" for n in range(PAIRS)))
    soak.pause(soak.fault_seconds / 2)
    batch(*(f"link del a{n}" for n in range(0, PAIRS, 2)))
    yield
    batch(*(f"link del a{n}" for n in range(1, PAIRS, 2)))


@contextlib.contextmanager
def counters_reset(soak):
    """Another /proc/net/dev for the daemon. The counters stay, go back to nothing, wrap, grow. A
    reset from beyond 2 GiB is left out: the 32-bit difference takes that for growth."""
    os.makedirs(soak.node.path("net"), exist_ok=True)
    target = f"/proc/{soak.pid}/net"

    def show(octets):
        counters = f"{octets} {octets // 1000} 0 0 0 0 0 0"
        soak.node.write("net/dev", f"one\ntwo\n  eth9: {counters} {counters}\n")
    show(0)
    subprocess.run(["mount", "--bind", soak.node.path("net"), target], check=True)
    for octets in (1_900_000_000, 0, 500_000_000, 2**64 - 1_000_000, 5_000_000,
                   2**32 + 700_000_000, 1):
        show(octets)
        soak.pause(soak.fault_seconds / 7)
    yield
    subprocess.run(["umount", target], check=True)


@contextlib.contextmanager
def limited(soak, what, values):
    """A limit of the running daemon, set to each of the values in turn; one of them stays."""
    soft, hard = resource.prlimit(soak.pid, what)
    try:
        for value in random.sample(values, len(values)):
            resource.prlimit(soak.pid, what, (value, hard))
            soak.pause(soak.fault_seconds / len(values))
        yield
    finally:
        resource.prlimit(soak.pid, what, (soft, hard))


def descriptors(soak):
    used = soak.idle_descriptors[-1][0]
    return limited(soak, resource.RLIMIT_NOFILE, [used + spare for spare in range(-2, 6)])


def memory(soak):
    """From nothing that can be had any more to what a post takes, more or less."""
    used = min(watch.address_space(soak.pid) for _ in range(20) if not soak.pause(0.01))
    return limited(soak, resource.RLIMIT_AS, [used + (kib << 10) for kib in (-1024, 0, 64, 512, 4096)])


@contextlib.contextmanager
def supervisor_stopped(soak):
    """Well under the time after which the supervisor takes a daemon for dead."""
    soak.heartbeats.blind = True
    soak.supervisor.send_signal(signal.SIGSTOP)
    yield
    soak.supervisor.send_signal(signal.SIGCONT)
    soak.pause(0.3)
    soak.heartbeats.blind = False


FAULTS = {
    "server down": server_down,
    "server slow": server_says("slow 0.3"),
    "server hangs": server_says("hang"),
    "server resets": server_says("reset"),
    "server hangs up mid-upload": server_says("close_mid_upload"),
    "server answers 500": server_says("status 500"),
    "server answers 302": server_says("status 302"),
    "server answers noise": server_says("garbage"),
    "endless response body": server_says("endless"),
    "endless response header": server_says("dribble"),
    "server stopped (SIGSTOP)": server_stopped,
    "supervisor stopped (SIGSTOP)": supervisor_stopped,
    "name servers silent": names("silent"),
    "name servers lie": names("lying"),
    "one of two name servers silent": one_name_server_silent,
    "resolv.conf empty": resolver_file_empty,
    "disk full": disk_full,
    "slow disk": slow_disk,
    "clock steps": clock_steps,
    "reloads": reloads,
    "vos.conf broken": bad_configuration("General = {\n  vos_id = ;\n"),
    "vos.conf empty": bad_configuration(""),
    "vos.conf gone": bad_configuration(None),
    f"{HERD} processes come and go": herd,
    f"{2 * PAIRS} interfaces come and go": interfaces,
    "interface counters reset": counters_reset,
    "descriptors exhausted": descriptors,
    "memory limited": memory,
}
