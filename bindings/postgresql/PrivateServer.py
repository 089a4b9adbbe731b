"""PostgreSQL servers for tests: in a temporary folder, reached through a Unix socket there, without a port.

The server finds its libraries and extensions relative to its own program, so a copy of the program gets a
folder of extensions of its own, and nothing of the system's installation is written.
"""
import csv
import glob
import io
import os
import pwd
import shutil
import signal
import subprocess
import tempfile
import threading

NULL = "\N{EMPTY SET}"  # how psql shows NULL here


def configured(name):
    """A folder of the system's installation."""
    return subprocess.run([os.environ.get("PG_CONFIG", "pg_config"), "--" + name], check=True,
                          capture_output=True, text=True).stdout.strip()


class SqlError(Exception):
    """The server refused a statement."""

    def __init__(self, text):
        super().__init__(text)
        first = next((line for line in text.splitlines() if "ERROR:" in line), text)
        self.state, _, self.message = first.partition("ERROR:")[2].strip().partition(": ")


class Installation:
    """A copy of the server's program with the extension."""

    def __init__(self, module, files):
        self.folder = tempfile.mkdtemp(prefix="yox-pg-")
        # The server refuses to run as root.
        self.user = pwd.getpwnam("postgres").pw_name if os.geteuid() == 0 else None
        bindir, libdir, sharedir = (configured(name) for name in ("bindir", "pkglibdir", "sharedir"))
        self.bindir = self.folder + bindir
        os.makedirs(self.bindir)
        self.copy_programs("postgres", "initdb")
        self._link(libdir)
        self._link(sharedir)
        extensions = os.path.join(self.folder + sharedir, "extension")
        os.remove(extensions)
        self._link(os.path.join(sharedir, "extension"))
        self._replace(module, os.path.join(self.folder + libdir, "yox.so"))
        for old in glob.glob(os.path.join(extensions, "yox[.-]*")):
            os.remove(old)
        for file in files:
            self._replace(file, os.path.join(extensions, os.path.basename(file)))
        self.clusters = []
        if self.user:
            shutil.chown(self.folder, self.user)
            os.chmod(self.folder, 0o755)

    def copy_programs(self, *programs):
        for program in programs:
            shutil.copy2(os.path.join(configured("bindir"), program), self.bindir)

    def _link(self, folder):
        os.makedirs(self.folder + folder)
        for entry in os.listdir(folder):
            os.symlink(os.path.join(folder, entry), os.path.join(self.folder + folder, entry))

    @staticmethod
    def _replace(source, target):
        if os.path.lexists(target):
            os.remove(target)
        shutil.copy2(source, target)

    def run(self, program, *arguments):
        """Runs a program of the server as the user that owns it."""
        done = subprocess.run([os.path.join(self.bindir, program), *arguments], user=self.user,
                              cwd=self.folder, stdin=subprocess.DEVNULL, capture_output=True,
                              text=True, check=False, env=self.environment())
        if done.returncode != 0:
            raise RuntimeError(f"{program}: {done.stdout}{done.stderr}")

    @staticmethod
    def environment():
        return {"PATH": os.environ["PATH"], "LC_ALL": "C.UTF-8", "TZ": "UTC"}

    def cluster(self, name="main", **settings):
        """A server that runs."""
        cluster = self.new_cluster(name, **settings)
        cluster.start()
        return cluster

    def new_cluster(self, name, wrapper=(), **settings):
        """A server that was never started. `wrapper` is the command that runs its program."""
        cluster = Cluster(self, name, wrapper, settings)
        self.clusters.append(cluster)
        return cluster

    def close(self):
        for cluster in self.clusters:
            cluster.stop()
        shutil.rmtree(self.folder)


class Cluster:
    """A server with a database of its own."""

    def __init__(self, installation, name, wrapper, settings):
        self.installation = installation
        self.wrapper = wrapper
        self.data = os.path.join(installation.folder, name)
        self.socket = os.path.join(installation.folder, name + ".s")
        self.process = self.reader = None
        self.log = ""
        os.mkdir(self.socket)
        if installation.user:
            shutil.chown(self.socket, installation.user)
        installation.run("initdb", "-D", self.data, "--auth=trust", "--username=tester", "--no-sync",
                         "--encoding=UTF8", "--locale=C.UTF-8")
        lines = {"listen_addresses": "", "unix_socket_directories": self.socket, "fsync": "off",
                 "timezone": "UTC", "log_min_messages": "warning", **settings}
        with open(os.path.join(self.data, "postgresql.conf"), "a", encoding="utf-8") as file:
            file.writelines(f"{key} = '{value}'\n" for key, value in lines.items())

    def url(self, database="postgres"):
        return f"postgresql:///{database}?host={self.socket}&user=tester"

    def start(self):
        self.process = subprocess.Popen(
            [*self.wrapper, os.path.join(self.installation.bindir, "postgres"), "-D", self.data],
            user=self.installation.user, cwd=self.installation.folder, stdin=subprocess.DEVNULL,
            stdout=subprocess.DEVNULL, stderr=subprocess.PIPE, text=True,
            env=self.installation.environment())
        lines = []
        for line in self.process.stderr:
            lines.append(line)
            if "database system is ready to accept connections" in line:
                break
        else:
            raise RuntimeError("the server does not start: " + "".join(lines))
        # What it logs from now on must be read, or it would wait.
        self.reader = threading.Thread(target=self._keep_log, args=(self.process.stderr,))
        self.reader.start()

    def _keep_log(self, stream):
        self.log += stream.read()

    def stop(self, how=signal.SIGQUIT):
        """Ends the server. What it logged is in `log` then."""
        if self.process is None:
            return
        self.process.send_signal(how)
        self.process.wait()
        self.reader.join()
        self.process.stderr.close()
        self.process = None

    def kill(self):
        """Kills the server and everything that it started, as a power cut would end it."""
        children = subprocess.run(["ps", "-o", "pid=", "--ppid", str(self.process.pid)],
                                  check=False, capture_output=True, text=True).stdout.split()
        self.process.send_signal(signal.SIGKILL)
        for child in children:
            try:
                os.kill(int(child), signal.SIGKILL)
            except ProcessLookupError:
                pass
        self.stop(signal.SIGKILL)

    def text(self, script, database="postgres"):
        """What psql prints for the statements, without any layout."""
        done = subprocess.run(
            ["psql", "--no-psqlrc", "--quiet", "--csv", "--tuples-only", "--set=ON_ERROR_STOP=1",
             "--set=VERBOSITY=verbose", "--pset=null=" + NULL, self.url(database)],
            input=script, capture_output=True, text=True, check=False,
            env=self.installation.environment())
        if done.returncode != 0:
            raise SqlError(done.stderr)
        return done.stdout

    def rows(self, script, database="postgres"):
        """The rows of the statements' results, values as text, None for NULL."""
        return [tuple(None if value == NULL else value for value in row)
                for row in csv.reader(io.StringIO(self.text(script, database)))]

    def value(self, script, database="postgres"):
        return self.rows(script, database)[0][0]


def quoted(text):
    """An SQL literal."""
    return "NULL" if text is None else "'" + text.replace("'", "''") + "'"
