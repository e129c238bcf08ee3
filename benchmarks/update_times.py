#!/usr/bin/env python3
"""Measures an update on loop devices: with the device's scripts, and with SWUpdate.

usage: update_times.py SWUPDATE   (needs root; SWUPDATE is the folder that fetch_swupdate.sh fills)

Both install the same files, 100 MB that do not compress, from a drive with an ext4 file system. The files are signed
and encrypted with AES-256. Of several runs, prints the run with the median duration. Memory is the largest sum of the
files in /tmp and the processes' own memory (without shared libraries), sampled every 20 ms. Written bytes are the bytes
written to the internal memory and the spare partition.
"""

import contextlib
import os
import shutil
import subprocess
import sys
import tempfile
import threading
import time
from dataclasses import dataclass
from pathlib import Path

PROJECT = Path(__file__).resolve().parent.parent
MAKER = PROJECT / "packaging/maker"
SCRIPTS = PROJECT / "packaging/scripts"
RUNS = 3
FILES = 100
FILE_SIZE = 1_000_000
MEMORY_SIZE = 256 << 20
BACKUP_SIZE = 16 << 20
TMP_SIZE = 1 << 30
SAMPLE_SECONDS = 0.02
MB = 1_000_000
SECTOR = 512  # unit of the kernel's block statistics
PAGE = os.sysconf("SC_PAGESIZE")

SCRIPT_SETTINGS = """
memory_device={memory}
backup_device={backup}
signing_key={root}/etc/tonecrate/signing.pub
firmware_key={root}/etc/tonecrate/firmware.key
drive_file_systems=ext4
drive_mount={root}/run/drive
memory_mount={root}/run/memory
backup_mount={root}/run/backup
"""

SW_DESCRIPTION = """software = {{
  version = "2.0.0";
  hardware-compatibility: ["1.0"];
  files: ({{
    filename = "payload"; type = "archive"; installed-directly = true; preserve-attributes = true;
    device = "{memory}"; filesystem = "ext4"; path = "/";
    encrypted = true; ivt = "{iv}"; sha256 = "{checksum}";
  }});
}}
"""


class Failure(Exception):
    """An error reported to the user in one line."""


@dataclass
class Step:
    name: str
    seconds: float
    processor: float
    peak: int
    written: int


def run(*command, **options):
    """Runs a command and returns its output."""
    result = subprocess.run([str(word) for word in command], capture_output=True, text=True, check=False, **options)
    if result.returncode != 0:
        reason = (result.stderr or result.stdout).strip().splitlines()
        raise Failure(f"{Path(command[0]).name}: {reason[-1] if reason else f'exit status {result.returncode}'}")
    return result.stdout.strip()


def private_memory(pid):
    """Returns the resident memory, excluding shared memory, of a process and its descendants, in bytes."""
    total = 0
    with contextlib.suppress(OSError, IndexError):  # the process may end at any time
        resident, shared = Path(f"/proc/{pid}/statm").read_text().split()[1:3]
        total += (int(resident) - int(shared)) * PAGE
        for task in os.listdir(f"/proc/{pid}/task"):
            for child in Path(f"/proc/{pid}/task/{task}/children").read_text().split():
                total += private_memory(child)
    return total


class Machine:
    """A device with an internal memory, a spare partition, a drive, and an empty /tmp."""

    def __init__(self, work, images, stack):
        self.root = work / "root"
        self.tmp = self.root / "tmp"
        self.log = work / "log"
        self.stack = stack
        for folder in ("dev", "tmp", "run", "etc/tonecrate", "usr/sbin", "usr/lib/tonecrate", "mnt"):
            (self.root / folder).mkdir(parents=True)
        self.mount(self.tmp, "-t", "tmpfs", "-o", f"size={TMP_SIZE}", "tmpfs")
        run("cp", "--sparse=always", images / "memory", work / "memory")
        run("truncate", "-s", BACKUP_SIZE, work / "backup")
        self.memory = self.attach(work / "memory")
        self.backup = self.attach(work / "backup")
        self.drive = self.attach(images / "drive")

    def attach(self, image):
        device = run("losetup", "--find", "--show", image)
        self.stack.callback(run, "losetup", "--detach", device)
        return device

    def mount(self, folder, *arguments):
        run("mount", *arguments, folder)
        self.stack.callback(run, "umount", folder)

    def written(self):
        os.sync()
        statistics = (Path("/sys/block", Path(device).name, "stat") for device in (self.memory, self.backup))
        return sum(int(file.read_text().split()[6]) * SECTOR for file in statistics)

    def used_memory(self, pid):
        tmp = os.statvfs(self.tmp)
        return (tmp.f_blocks - tmp.f_bfree) * tmp.f_bsize + private_memory(pid)

    def measure(self, name, *command, **environment):
        written = self.written()
        begin = time.monotonic()
        with open(self.log, "wb") as log:
            process = subprocess.Popen([str(word) for word in command], stdin=subprocess.DEVNULL, stdout=log,
                                       stderr=subprocess.STDOUT, env={**os.environ, **environment})
        peak, ended = 0, threading.Event()

        def sample():
            nonlocal peak
            while not ended.wait(SAMPLE_SECONDS):
                peak = max(peak, self.used_memory(process.pid))

        sampler = threading.Thread(target=sample)
        sampler.start()
        _, status, usage = os.wait4(process.pid, 0)
        seconds = time.monotonic() - begin
        process.returncode = os.waitstatus_to_exitcode(status)
        ended.set()
        sampler.join()
        if process.returncode != 0:
            lines = self.log.read_text(errors="replace").strip().splitlines()
            raise Failure(f"{name} failed: {lines[-1] if lines else f'exit status {process.returncode}'}")
        return Step(name, seconds, usage.ru_utime + usage.ru_stime, peak, self.written() - written)

    def verify(self, firmware):
        folder = self.root / "mnt"
        run("mount", "-o", "ro", self.memory, folder)
        try:
            run("diff", "-r", firmware, folder / "firmware")
        finally:
            run("umount", folder)


def install_with_scripts(machine, images, _):
    root = machine.root
    for script in ("decrypt.sh", "format.sh", "install.sh"):
        shutil.copy(SCRIPTS / script, root / "usr/sbin")
    for script in SCRIPTS.glob("*.sh"):
        shutil.copy(script, root / "usr/lib/tonecrate")
    for key in ("signing.pub", "firmware.key"):
        shutil.copy(images / "keys" / key, root / "etc/tonecrate")
    settings = SCRIPT_SETTINGS.format(root=root, memory=machine.memory, backup=machine.backup)
    (root / "etc/tonecrate/updater.conf").write_text((SCRIPTS / "updater.conf").read_text() + settings)
    (root / "dev/sda1").symlink_to(machine.drive)
    return [machine.measure("decrypt.sh", root / "usr/sbin/decrypt.sh", "/dev/sda1"),
            machine.measure("format.sh 0", root / "usr/sbin/format.sh", "0"),
            machine.measure("install.sh", root / "usr/sbin/install.sh")]


def install_with_swupdate(machine, images, swupdate):
    """Creates and signs sw-description for each run, because it contains the path of the run's loop device."""
    swu, drive = machine.root / "update.swu", machine.root / "run"
    content = SW_DESCRIPTION.format(memory=machine.memory, iv=(images / "iv").read_text(),
                                    checksum=run("sha256sum", images / "payload").split()[0])
    (images / "sw-description").write_text(content)
    # CMS of OpenSSL 3.0 does not support Ed25519, so the key is on a curve of the same size.
    run("openssl", "cms", "-sign", "-in", "sw-description", "-out", "sw-description.sig", "-signer", "certificate",
        "-inkey", "key", "-outform", "DER", "-nosmimecap", "-binary", cwd=images)
    with open(swu, "wb") as file:
        subprocess.run(["cpio", "--quiet", "-o", "-H", "crc"], cwd=images, check=True, stdout=file,
                       input=b"sw-description\nsw-description.sig\npayload\n")
    machine.mount(drive, machine.drive)
    shutil.copy(swu, drive)
    swu.unlink()
    libraries = ":".join(str(folder) for folder in swupdate.glob("usr/lib/*-linux-gnu"))
    steps = [machine.measure("mke2fs", "mke2fs", "-q", "-F", "-t", "ext4", "-m", "0", machine.memory),
             machine.measure("SWUpdate", swupdate / "usr/bin/swupdate", "-k", images / "certificate", "-K",
                             images / "aes", "-H", "board:1.0", "-i", drive / "update.swu",
                             LD_LIBRARY_PATH=libraries, TMPDIR=str(machine.tmp)),
             machine.measure("reading back", "sh", "-c", 'mount -o ro "$1" "$2" && find "$2" -type f -exec openssl '
                             'dgst -sha256 -r {} + && umount "$2"', "sh", machine.memory, machine.root / "mnt")]
    return steps


def make_images(work):
    """Creates the inputs of both updates: the firmware, the drive with tonecrate.fw, the internal memory with an older
    firmware and presets, and SWUpdate's payload and keys."""
    firmware = work / "content/firmware"
    firmware.mkdir(parents=True)
    for number in range(FILES):
        (firmware / f"{number:03}.bin").write_bytes(os.urandom(FILE_SIZE))
    run(MAKER / "tonecrate-make-keys", work / "keys")
    (work / "drive.files").mkdir()
    run(MAKER / "tonecrate-pack-firmware", firmware, "2.0.0", work / "keys", work / "drive.files/tonecrate.fw")
    run("mke2fs", "-q", "-t", "ext4", "-d", work / "drive.files", work / "drive", "320m")

    (work / "content/version.txt").write_text("2.0.0\n")
    key, vector = os.urandom(32).hex(), os.urandom(16).hex()
    (work / "iv").write_text(vector)
    (work / "aes").write_text(f"{key} {vector}\n")
    run("sh", "-c", 'tar -C content --owner=0 --group=0 -c firmware version.txt | gzip -9n | '
        'openssl enc -aes-256-cbc -K "$1" -iv "$2" -out payload', "sh", key, vector, cwd=work)
    run("openssl", "ecparam", "-name", "prime256v1", "-genkey", "-noout", "-out", work / "key")
    run("openssl", "req", "-x509", "-new", "-key", work / "key", "-subj", "/CN=maker", "-out", work / "certificate")

    old = work / "old"
    shutil.copytree(PROJECT / "sim/scripts/user_presets", old / "presets")
    (old / "firmware").mkdir()
    (old / "firmware/voices.conf").write_text("one voice\n")
    (old / "version.txt").write_text("1.4.2\n")
    run("mke2fs", "-q", "-t", "ext4", "-d", old, work / "memory", f"{MEMORY_SIZE >> 10}k")
    return firmware


def total(name, steps):
    return Step(name, sum(step.seconds for step in steps), sum(step.processor for step in steps),
                max(step.peak for step in steps), sum(step.written for step in steps))


def median(runs):
    """Returns the run with the median duration."""
    return sorted(runs, key=lambda steps: total("", steps).seconds)[len(runs) // 2]


def print_steps(name, steps):
    for step in [*steps, total(name, steps)]:
        print(f"{step.name:<28}{step.seconds:>8.2f}{step.processor:>13.2f}{step.peak / MB:>11.1f}"
              f"{step.written / MB:>13.1f}")


def main(arguments):
    if len(arguments) != 1 or arguments[0].startswith("-"):
        raise Failure("usage: update_times.py SWUPDATE")
    swupdate = Path(arguments[0]).resolve()
    results = {install_with_scripts: [], install_with_swupdate: []}
    with tempfile.TemporaryDirectory(prefix="tonecrate.", dir="/var/tmp") as folder:
        images = Path(folder, "images")
        images.mkdir()
        firmware = make_images(images)
        for number in range(RUNS):
            for install, runs in results.items():
                work = Path(folder, f"{install.__name__}.{number}")
                with contextlib.ExitStack() as stack:
                    machine = Machine(work, images, stack)
                    runs.append(install(machine, images, swupdate))
                    machine.verify(firmware)
                shutil.rmtree(work)
    print(f"{FILES * FILE_SIZE / MB:g} MB in {FILES} files, median of {RUNS} runs\n")
    print(f"{'step':<28}{'seconds':>8}{'processor s':>13}{'memory MB':>11}{'written MB':>13}")
    print_steps("scripts, total", median(results[install_with_scripts]))
    print()
    print_steps("SWUpdate, total", median(results[install_with_swupdate]))


def need_root():
    """Fails unless root runs the program. Restarts it in a private mount namespace, so its mounts disappear at exit."""
    if os.geteuid() != 0:
        raise Failure("needs root")
    if os.environ.get("OWN_MOUNTS") != "yes":
        run("losetup", "--find")  # in a container, root may lack these rights
        run("unshare", "--mount", "true")
        os.environ["OWN_MOUNTS"] = "yes"
        os.execvp("unshare", ["unshare", "--mount", "--propagation", "private", sys.executable, *sys.argv])


if __name__ == "__main__":
    os.environ["PATH"] += ":/usr/sbin:/sbin"
    os.environ["LC_ALL"] = "C"
    try:
        need_root()
        main(sys.argv[1:])
    except Failure as failure:
        print(f"update_times: {failure}", file=sys.stderr)
        sys.exit(2)
    except KeyboardInterrupt:
        sys.exit(130)
