"""A minimal Debian of this machine's release in a folder, made by debootstrap, with proc and devpts: for those who try what
a machine with nothing on it makes of the project. Takes root, and has its mounts to itself."""
import os
import pathlib
import platform
import re
import shutil
import subprocess
import sys
import tempfile
import time

ROOT = pathlib.Path(__file__).resolve().parent.parent


def alone():
    """Starts this program anew with mounts and processes that end with it, as root."""
    if os.geteuid():
        sys.exit(f"{sys.argv[0]}: takes root, for debootstrap and chroot")
    if not shutil.which("debootstrap"):
        quietly([ROOT / "scripts/setup", "fresh"])
    if os.environ.get("ZOVEK_ALONE") != "1":
        apart = ["unshare", "--mount", "--pid", "--fork", "--kill-child", sys.executable, *sys.argv]
        os.execvpe("unshare", apart, {**os.environ, "ZOVEK_ALONE": "1"})


def quietly(command):
    done = subprocess.run(command, stdin=subprocess.DEVNULL, stdout=subprocess.PIPE, stderr=subprocess.STDOUT, text=True)
    if done.returncode:
        sys.exit(f"{done.stdout[-3000:]}failed: {' '.join(map(str, command))}")


def output(command):
    return subprocess.run(command, check=True, stdout=subprocess.PIPE, text=True).stdout


class Machine:
    """The folder with the minimal system."""

    def __init__(self):
        self.folder = folder = pathlib.Path(tempfile.mkdtemp(prefix="zovek-machine-"))
        self.root = folder / "root"
        started = time.monotonic()
        archives = self.archives()
        release = platform.freedesktop_os_release()["VERSION_CODENAME"]
        mirror = next(uri for uri, suite, _ in archives if suite == release)
        quietly(["debootstrap", "--variant=minbase", release, self.root, mirror])
        apt = self.root / "etc/apt"
        (apt / "sources.list").write_text("".join(f"deb {' '.join(archive)}\n" for archive in archives))
        settings = output(["apt-config", "dump"])
        (apt / "apt.conf.d/50machine").write_text(
            "".join(re.findall(r'^Acquire::(?:https?|ftp|Check|Retries).* ".*";\n', settings, re.M)))
        terminals = "newinstance,ptmxmode=0666,mode=620,gid=5"
        for kind, place, *options in (("proc", "proc"), ("devpts", "dev/pts", "-o", terminals)):
            quietly(["mount", "-t", kind, *options, kind, self.root / place])
        ptmx = self.root / "dev/ptmx"
        ptmx.unlink(missing_ok=True)
        ptmx.symlink_to("pts/ptmx")
        if not (self.root / "dev/null").is_char_device():
            quietly(["mount", "--rbind", "/dev", self.root / "dev"])
            quietly(["mount", "--make-rslave", self.root / "dev"])  # what is unmounted there stays mounted here
        print(f"a minimal {release}: {self.packages()} packages, {self.megabytes()} MB, "
              f"{time.monotonic() - started:.0f} s")

    def archives(self):
        """(URI, suite, component) of this machine's Debian archives."""
        targets = ["apt-get", "indextargets", "--format", "$(REPO_URI) $(RELEASE) $(COMPONENT)", "Created-By: Packages"]
        if not output([*targets, "Origin: Debian"]):
            quietly(["apt-get", "update", "-qq"])
        return list(dict.fromkeys(tuple(line.split()) for line in output([*targets, "Origin: Debian"]).splitlines()))

    def run(self, line, user="root", place="/"):
        home = "/root" if user == "root" else f"/home/{user}"
        own = f"{home}/.local"
        path = "/usr/local/sbin:/usr/local/bin:/usr/sbin:/usr/bin:/sbin:/bin"
        variables = {"PATH": path if user == "root" else f"{own}/bin:{path}", "HOME": home, "USER": user,
                     "LANG": "C.UTF-8", "TERM": "xterm", "ZOVEK": place}
        if user != "root":  # as the end of make install tells
            variables |= {"PKG_CONFIG_PATH": f"{own}/lib/pkgconfig", "LD_LIBRARY_PATH": f"{own}/lib"}
        return subprocess.run(
            ["chroot", "--userspec", user, self.root, "/usr/bin/env", "-i", *(f"{k}={v}" for k, v in variables.items()),
             "bash", "-c", f"set -o pipefail; cd {place} && {line}"],
            stdin=subprocess.DEVNULL, stdout=subprocess.PIPE, stderr=subprocess.STDOUT, text=True, errors="replace")

    def clone(self, place, user):
        folder = self.root / place.lstrip("/")
        quietly(["git", "clone", "--quiet", "--no-hardlinks", ROOT, folder])
        shared = ROOT.parent / "shared"
        if shared.is_dir():
            beside = folder.parent / "shared"
            beside.mkdir()
            quietly(["mount", "--bind", shared, beside])
        self.run(f"chown -R {user}: {place}")

    def packages(self):
        return len(re.findall(r"^Status: .* installed$", (self.root / "var/lib/dpkg/status").read_text(), re.M))

    def megabytes(self):
        """That the packages take."""
        status = (self.root / "var/lib/dpkg/status").read_text()
        return sum(map(int, re.findall(r"^Installed-Size: (\d+)$", status, re.M))) // 1024

    def close(self, keep=False):
        mounts = pathlib.Path("/proc/self/mounts").read_text()
        for place in reversed(re.findall(rf"^\S+ ({re.escape(str(self.root))}/\S+)", mounts, re.M)):
            quietly(["umount", "--lazy", place])
        if keep:
            print(f"left in {self.folder}")
        elif str(self.root) not in pathlib.Path("/proc/self/mounts").read_text():
            shutil.rmtree(self.folder)
