#!/usr/bin/env python3
"""Starts an Apache of its own around a bridge, for the demo, the tests and a quick try.

The machine's Apache, its configuration and its port are not touched: only the program and its
modules are used (Debian's package apache2-bin, or the httpd of macOS). Everything else is in a
temporary folder, which is removed at the end.

    with PrivateApache("build/release/Quintora.cgi", names=["Gateway.cgi"]) as apache:
        urllib.request.urlopen(apache.url("/cgi-bin/Gateway.cgi"))
"""
import glob
import os
import pwd
import shutil
import signal
import socket
import subprocess
import sys
import tempfile
import time

# Program and modules: Debian's place, macOS's place.
INSTALLATIONS = (("/usr/sbin/apache2", "/usr/lib/apache2/modules"),
                 ("/usr/sbin/httpd", "/usr/libexec/apache2"))
MODULES = "unixd", "authz_core", "alias", "env"
FEW_PROCESSES = """<IfModule mpm_prefork_module>
    StartServers 2
    MinSpareServers 1
    MaxSpareServers 2
</IfModule>"""
WEB_USERS = "www-data", "_www"
ATTEMPTS = 5
PATIENCE = 10  # seconds for one start or stop

CONFIGURATION = """
ServerRoot "{folder}"
DefaultRuntimeDir "{folder}"
PidFile "{folder}/apache.pid"
ErrorLog "{folder}/error.log"
ServerName 127.0.0.1:{port}
Listen 127.0.0.1:{port}
{modules}
{user}
{directives}
<IfModule cgid_module>
    ScriptSock "{folder}/cgid.socket"
</IfModule>
AddDefaultCharset off
DocumentRoot "{document_root}"
ScriptAlias /cgi-bin/ "{folder}/cgi-bin/"
<Directory "/">
    Require all granted
    <Files "*.html">
        ForceType "text/html; charset=utf-8"
    </Files>
</Directory>
{environment}
"""


class ApacheError(Exception):
    """Apache is not installed or does not start."""


def find_apache():
    """Where the program and its modules are."""
    for program, modules in INSTALLATIONS:
        if os.access(program, os.X_OK) and os.path.isdir(modules):
            return program, modules
    raise ApacheError("No Apache found: install Debian's package apache2-bin.")


def find_web_user():
    """The user to whom Apache switches when it is started by root; None for any other user."""
    if os.geteuid() != 0:
        return None
    users = {entry.pw_name for entry in pwd.getpwall()}
    return next(name for name in WEB_USERS if name in users)


def free_port():
    with socket.socket() as probe:
        probe.bind(("127.0.0.1", 0))
        return probe.getsockname()[1]


class PrivateApache:
    """An Apache on a free loopback port, from the start of a with block to its end.

    bridge is copied to /cgi-bin/ under each of the names, so the original may be where the web
    server's user cannot read it. environment is added to the copies' CGI environment. The files in
    document_root, if given, are served as they are and must be readable for that user. runs_as
    names the MPM and the CGI module; directives are further lines of the configuration, such as the
    number of processes. A given port must be free.
    """

    def __init__(self, bridge, names=("Quintora.cgi",), environment=None, document_root=None,
                 runs_as=("mpm_prefork", "cgi"), directives=FEW_PROCESSES, port=None):
        self.bridge = bridge
        self.names = names
        self.environment = environment or {}
        self.document_root = document_root
        self.modules = *runs_as, *MODULES
        self.directives = directives
        self.fixed_port = port
        self.process = self.folder = self.port = None

    def __enter__(self):
        program, modules = find_apache()
        # Root's TMPDIR may be closed to the web server's user.
        self.folder = tempfile.mkdtemp(prefix="private-apache-",
                                       dir="/tmp" if os.geteuid() == 0 else None)
        try:
            self._fill_folder()
            for _ in range(ATTEMPTS):
                if self._start(program, modules):
                    return self
            raise ApacheError(f"Apache does not start:\n{self.error_log()}")
        except BaseException:
            self.__exit__()
            raise

    def __exit__(self, *_):
        if self.process and self.process.poll() is None:
            self.process.terminate()
            try:
                self.process.wait(PATIENCE)
            except subprocess.TimeoutExpired:
                os.killpg(self.process.pid, signal.SIGKILL)
                self.process.wait()
        shutil.rmtree(self.folder, ignore_errors=True)

    def url(self, path):
        return f"http://127.0.0.1:{self.port}{path}"

    def error_log(self):
        """Apache's error log so far, with all that the bridge wrote to standard error."""
        try:
            with open(os.path.join(self.folder, "error.log"), encoding="utf-8") as log:
                return log.read()
        except FileNotFoundError:
            return ""

    def _fill_folder(self):
        os.chmod(self.folder, 0o755)
        for name in "cgi-bin", "documents":
            os.mkdir(os.path.join(self.folder, name))
            os.chmod(os.path.join(self.folder, name), 0o755)
        for name in self.names:
            copy = os.path.join(self.folder, "cgi-bin", name)
            shutil.copyfile(self.bridge, copy)
            os.chmod(copy, 0o755)

    def _start(self, program, modules):
        """One attempt; False when another program took the port first."""
        self.port = self.fixed_port or free_port()
        configuration = os.path.join(self.folder, "apache.conf")
        with open(configuration, "w", encoding="utf-8") as file:
            file.write(self._configuration(modules))
        # In a session of its own, neither Ctrl-C nor a resized terminal stops Apache before we do.
        with open(os.path.join(self.folder, "error.log"), "ab") as log:
            self.process = subprocess.Popen(
                [program, "-D", "FOREGROUND", "-f", configuration], env={"PATH": os.defpath},
                stdin=subprocess.DEVNULL, stdout=log, stderr=log, start_new_session=True)
        deadline = time.monotonic() + PATIENCE
        while self.process.poll() is None and time.monotonic() < deadline:
            if self._answers() and self._runs_programs():
                return True
            time.sleep(0.02)
        if self.process.poll() is not None and "Address already in use" in self.error_log():
            return False
        what = "The daemon of mod_cgid" if self._answers() else "Apache"
        raise ApacheError(f"{what} does not start:\n{self.error_log()}")

    def _answers(self):
        """Whether Apache listens: it writes the PID file only when it has the port."""
        if not os.path.exists(os.path.join(self.folder, "apache.pid")):
            return False
        try:
            socket.create_connection(("127.0.0.1", self.port), timeout=1).close()
            return True
        except OSError:
            return False

    def _runs_programs(self):
        """Whether cgid's daemon is ready, which starts beside the processes that answer.

        It listens before it gives its socket to their user. Until then they may not connect, and
        each request for a program is answered with 503 at once.
        """
        if "cgid" not in self.modules:
            return True
        user = find_web_user()
        owner = pwd.getpwnam(user).pw_uid if user else os.geteuid()
        # Apache adds its process ID to the name.
        return any(os.stat(file).st_uid == owner
                   for file in glob.glob(os.path.join(self.folder, "cgid.socket*")))

    def _configuration(self, modules):
        user = find_web_user()
        return CONFIGURATION.format(
            folder=self.folder, port=self.port,
            document_root=self.document_root or os.path.join(self.folder, "documents"),
            modules="\n".join(load_module(name, modules) for name in self.modules),
            directives=self.directives,
            user=f"User {user}\nGroup {user}" if user else "",
            environment="\n".join(f'SetEnv {name} "{value}"'
                                  for name, value in self.environment.items()))


def load_module(name, folder):
    """Loads a module unless it is compiled into the program, which differs between systems."""
    return (f"<IfModule !{name}_module>\n"
            f'    LoadModule {name}_module "{folder}/mod_{name}.so"\n'
            "</IfModule>")


def main():
    if len(sys.argv) < 2:
        sys.exit(f"usage: {sys.argv[0]} BRIDGE [NAME...]")
    signal.signal(signal.SIGTERM, lambda *_: sys.exit())
    with PrivateApache(sys.argv[1], names=sys.argv[2:] or ("Quintora.cgi",)) as apache:
        for name in apache.names:
            print(apache.url(f"/cgi-bin/{name}"), flush=True)
        try:
            signal.pause()
        except KeyboardInterrupt:
            pass


if __name__ == "__main__":
    main()
