"""The regression files: sql/NAME.sql run with psql must print expected/NAME.out, as `make installcheck` compares it.

    RegressionTest.py MODULE YOXCTL            compares, in a server of its own
    RegressionTest.py MODULE YOXCTL --memcheck the same with a server that valgrind watches
    RegressionTest.py MODULE YOXCTL --write    replaces the expected files; read the difference before a commit
"""
import glob
import os
import pathlib
import re
import shutil
import signal
import subprocess
import sys
import tempfile
import unittest

HERE = pathlib.Path(__file__).resolve().parent
sys.path.insert(0, str(HERE))
from PrivateServer import Installation, configured  # noqa: E402

MODULE = os.path.abspath(sys.argv[1])
WRITE = "--write" in sys.argv
MEMCHECK = ["valgrind", "--quiet", "--error-limit=no", "--num-callers=40", "--log-file="] if "--memcheck" in sys.argv else []
TESTS = sorted(path.stem for path in (HERE / "sql").glob("*.sql"))


class Regression(unittest.TestCase):
    def test_every_file_prints_what_is_expected(self):
        runner = os.path.join(os.path.dirname(configured("pgxs")), "..", "test", "regress", "pg_regress")
        server = Installation(MODULE, glob.glob(str(HERE / "yox[.-]*")))
        self.addCleanup(server.close)
        findings = pathlib.Path(server.folder, "memcheck")
        if MEMCHECK:
            MEMCHECK[-1] += str(findings)
        cluster = server.new_cluster("main", MEMCHECK)
        cluster.start()
        cluster.text("CREATE DATABASE regression")
        cluster.text("CREATE EXTENSION yox", "regression")
        if WRITE:
            for name in TESTS:
                (HERE / "expected" / (name + ".out")).touch()
        with tempfile.TemporaryDirectory() as folder:
            done = subprocess.run(
                [runner, "--use-existing", "--dbname=regression", "--user=tester", "--host=" + cluster.socket,
                 "--bindir=" + configured("bindir"), f"--inputdir={HERE}", f"--outputdir={folder}", *TESTS],
                capture_output=True, text=True, check=False, env={**server.environment(), "PGUSER": "tester"})
            if WRITE:
                for name in TESTS:
                    shutil.copy(os.path.join(folder, "results", name + ".out"), HERE / "expected")
                return
            differences = pathlib.Path(folder, "regression.diffs")
            self.assertEqual(done.returncode, 0, done.stdout + done.stderr +
                             (differences.read_text(encoding="utf-8") if differences.exists() else ""))
        cluster.stop(signal.SIGINT)
        # The server's own programs are of no concern here.
        reports = re.split(r"(?m)^==[0-9]+== \n", findings.read_text(encoding="utf-8")) if MEMCHECK else []
        self.assertEqual([report for report in reports if "yox.so" in report], [])
        for name in TESTS:
            self.assertRegex(done.stdout, rf"(?m)^test {name} +\.\.\. ok")


if __name__ == "__main__":
    unittest.main(argv=sys.argv[:1])
