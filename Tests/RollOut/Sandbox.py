# SPDX-License-Identifier: Apache-2.0
"""A machine of the test's own: namespaces in which the build is installed under /usr and systemd runs.

What is written to /etc, /usr and /var stays in memory, and the rest of the file system is read-only, so
that nothing changes the machine that runs the test. It needs root, overlayfs and namespaces.
"""

import json
import os
import pathlib
import shutil
import subprocess
import sys

OUTSIDE = "VEL_ROLLOUT_OUTSIDE"  # the mount namespace that the sandbox was entered from
CONTROL_GROUPS = pathlib.Path("/sys/fs/cgroup")


class Impossible(Exception):
    """This machine cannot have such a sandbox."""


def run(*command, status=0, **options):
    """What the command printed; fails unless it ends with `status`."""
    ended = subprocess.run([str(word) for word in command], text=True, stdout=subprocess.PIPE,
                           stderr=subprocess.PIPE, check=False, **options)
    if ended.returncode != status:
        raise AssertionError(f"{command} ended with {ended.returncode}:\n{ended.stdout}\n{ended.stderr}")
    return ended.stdout


def attempt(*command):
    """Runs a command that a machine may not allow."""
    try:
        return run(*command)
    except (AssertionError, OSError) as error:
        raise Impossible(str(error)) from error


def enter():
    """Runs this program again in namespaces of its own, and ends with its status."""
    if os.geteuid() != 0:
        raise Impossible("root is needed")
    words = ["unshare", "--mount", "--net", "--uts", "--ipc", "--fork", "--kill-child"]
    attempt(*words, "true")
    ended = subprocess.run([*words, sys.executable, "-B", *sys.argv], check=False,
                           env={**os.environ, OUTSIDE: mount_namespace()})
    sys.exit(ended.returncode)


def mount_namespace():
    return os.readlink("/proc/self/ns/mnt")


def inside():
    outside = os.environ.get(OUTSIDE, "")
    return outside.startswith("mnt:[") and outside != mount_namespace()


def set_up(scratch, build, cmake):
    """Makes this process's view of the file system its own and installs the build under /usr."""
    assert inside(), "never change the machine itself"
    attempt("mount", "--make-rprivate", "/")
    scratch.mkdir(parents=True, exist_ok=True)
    attempt("mount", "-t", "tmpfs", "-o", "mode=0755", "tmpfs", scratch)
    for folder in ("etc", "usr", "var"):
        upper, work = scratch / folder / "upper", scratch / folder / "work"
        upper.mkdir(parents=True)
        work.mkdir()
        attempt("mount", "-t", "overlay", "overlay", "-o",
                f"lowerdir=/{folder},upperdir={upper},workdir={work}", f"/{folder}")
    attempt("mount", "-t", "tmpfs", "-o", "mode=0755", "tmpfs", "/run")
    empty_temporary_folder(build)
    run(cmake, "--install", build, "--prefix", "/usr")
    # Modules and signers of the machine itself have no part in it.
    for folder in ("/usr/share/p11-kit/modules", "/etc/pkcs11/modules", "/etc/vel_device_trust",
                   "/var/lib/vel_device_trust"):
        shutil.rmtree(folder, ignore_errors=True)
    pathlib.Path("/etc/vel_device_trust").mkdir()
    attempt("mount", "-o", "remount,bind,ro", "/")


def empty_temporary_folder(build):
    """Hides what is in /tmp, except the source tree with the build if it is there."""
    source = pathlib.Path(__file__).resolve().parent.parent.parent
    kept = [path for path in (source, build) if path.is_relative_to("/tmp")]
    for number, path in enumerate(kept):
        pathlib.Path(f"/run/kept{number}").mkdir()
        attempt("mount", "--rbind", path, f"/run/kept{number}")
    attempt("mount", "-t", "tmpfs", "-o", "mode=1777", "tmpfs", "/tmp")
    for number, path in enumerate(kept):
        path.mkdir(parents=True, exist_ok=True)
        attempt("mount", "--move", f"/run/kept{number}", path)
        pathlib.Path(f"/run/kept{number}").rmdir()


def own_control_group(hierarchy):
    """The folder of this process's control group: `hierarchy` is "" for version 2."""
    for line in pathlib.Path("/proc/self/cgroup").read_text(encoding="utf-8").splitlines():
        _, name, path = line.split(":", 2)
        if name == hierarchy:
            return path.lstrip("/")
    raise Impossible(f"no control group {hierarchy!r}")


def new_control_group():
    """A new control group below this process's own."""
    if (CONTROL_GROUPS / "cgroup.procs").exists():
        parent = CONTROL_GROUPS / own_control_group("")
    else:
        parent = CONTROL_GROUPS / "systemd" / own_control_group("name=systemd")
    group = parent / f"vel-rollout-{os.getpid()}"
    try:
        group.mkdir()
    except OSError as error:
        raise Impossible(f"no control group can be made: {error}") from error
    return group


FIRST_PROCESS = """
set -e
mount --make-rprivate /
mount -t proc proc /proc
if [ -e /sys/fs/cgroup/cgroup.procs ]; then
    mount -t cgroup2 cgroup2 /sys/fs/cgroup
else
    mount -t tmpfs tmpfs /sys/fs/cgroup
    mkdir /sys/fs/cgroup/systemd /sys/fs/cgroup/unified
    mount -t cgroup -o none,name=systemd cgroup /sys/fs/cgroup/systemd
    mount -t cgroup2 cgroup2 /sys/fs/cgroup/unified
fi
export container=rollout
exec /lib/systemd/systemd --system --unit=rollout.target --log-target=console --show-status=no
"""


def write_unit(name, text):
    path = pathlib.Path("/etc/systemd/system") / name
    path.parent.mkdir(parents=True, exist_ok=True)
    path.write_text(text, encoding="utf-8")


def boot(services, cases):
    """Boots systemd with the units `services`, then starts the services `cases` one after another.

    The units are files by name. Returns what systemd printed when the last case has ended.
    """
    for name, text in services.items():
        write_unit(name, text)
    before = " ".join(services)
    for case in cases:
        write_unit(f"{case}.d/order.conf", "[Unit]\nDefaultDependencies=no\nAfter=" + before + "\n")
        before += " " + case
    write_unit("rollout-end.service", "[Unit]\nDefaultDependencies=no\nSuccessAction=exit-force\n"
               f"After={before}\n[Service]\nType=oneshot\nExecStart=true\n")
    write_unit("rollout.target", "[Unit]\nDefaultDependencies=no\n"
               f"Wants={before} rollout-end.service\n")
    group = new_control_group()
    try:
        ended = subprocess.run(
            ["sh", "-c", f"echo $$ >{group}/cgroup.procs && exec unshare --mount --pid --cgroup "
             f"--fork --kill-child sh -c '{FIRST_PROCESS}'"],
            text=True, stdout=subprocess.PIPE, stderr=subprocess.STDOUT, check=False)
    finally:
        for folder, _, _ in os.walk(group, topdown=False):
            os.rmdir(folder)
    if ended.returncode != 0:
        raise AssertionError(f"systemd ended with {ended.returncode}:\n{ended.stdout}")
    return ended.stdout


def read_json(path):
    return json.loads(pathlib.Path(path).read_text(encoding="utf-8"))
