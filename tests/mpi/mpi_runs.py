#!/usr/bin/env python3
"""Runs of ostravel-mpi under mpirun on this machine, checked against the
single-process command line.

  mpi_runs.py same MPIRUN MPI_PROGRAM CLI NP FEN N   keys and text as 'ostravel-cli solve'
  mpi_runs.py idle MPIRUN MPI_PROGRAM CLI NP FEN N   as 'same', with fewer candidates than ranks
  mpi_runs.py resume MPIRUN MPI_PROGRAM CLI NP FEN N stopped by --time-limit, resumed from the files
  mpi_runs.py fail MPIRUN MPI_PROGRAM CLI NP FEN N   rank 1 fails: a clear message, a non-zero exit
  mpi_runs.py signal MPIRUN MPI_PROGRAM CLI NP FEN N SIGUSR1 to mpirun stops every rank, which saves
  mpi_runs.py global MPIRUN MPI_PROGRAM CLI NP FEN N as 'same', with precalculated data of KRk in the
                                                     data folder: used by the ranks, the same answer
"""
import json
import os
import re
import signal
import subprocess
import sys
import tempfile


def fail(msg):
    print("FAIL: " + msg)
    sys.exit(1)


def environment(home):
    env = dict(os.environ)
    env["OSTRAVEL_HOME"] = home
    # The test may run as root (a container); mpirun refuses that unless told.
    env["OMPI_ALLOW_RUN_AS_ROOT"] = "1"
    env["OMPI_ALLOW_RUN_AS_ROOT_CONFIRM"] = "1"
    return env


def run(cmd, env, timeout=120):
    p = subprocess.run(cmd, env=env, capture_output=True, text=True, timeout=timeout)
    return p.returncode, p.stdout, p.stderr


def cli_solution(cli, fen, n, env):
    """Keys (UCI) and the solution text of a single-process run."""
    code, out, err = run([cli, "solve", "--fen", fen, "--mate", str(n), "--threads", "1", "--quiet",
                          "--json"], env)
    if code != 0:
        fail("ostravel-cli json: exit %d\n%s%s" % (code, out, err))
    keys = sorted(s["uci"] for s in json.loads(out)["solutions"])
    code, out, err = run([cli, "solve", "--fen", fen, "--mate", str(n), "--threads", "1", "--quiet"], env)
    if code != 0:
        fail("ostravel-cli: exit %d\n%s%s" % (code, out, err))
    lines = out.splitlines(keepends=True)
    start = next((i for i, l in enumerate(lines) if re.match(r"1\.\S+!", l)), None)
    end = next(i for i, l in enumerate(lines) if l.startswith("Engine has completed"))
    text = "".join(lines[start:end]) if start is not None else ""
    return keys, text


def mpi_run(mpirun, prog, np, fen, n, env, extra=()):
    cmd = [mpirun, "--oversubscribe", "-np", str(np), prog, "solve", "--fen", fen, "--mate", str(n),
           "--json"] + list(extra)
    return run(cmd, env)


def main():
    mode, mpirun, prog, cli, np, fen, n = sys.argv[1:8]
    with tempfile.TemporaryDirectory(prefix="ostravel-mpi-test-") as home:
        with open(os.path.join(home, "options.ini"), "w") as f:
            f.write("[chess]\nLichessLevels=-1\n")
        env = environment(home)
        if mode == "fail":
            code, out, err = mpi_run(mpirun, prog, np, fen, n, env, ["--test-fail-rank", "1"])
            if code == 0:
                fail("a failing rank must end the run with a non-zero exit")
            if "rank 1 failed: failure requested" not in err:
                fail("the message must name the failed rank:\n" + err)
            if '"solutions"' in out:
                fail("a failed run must print no result:\n" + out)
            return
        if mode == "signal":
            prefix = os.path.join(home, "run")
            cmd = [mpirun, "--oversubscribe", "-np", np, prog, "solve", "--fen", fen, "--mate", n, "--json",
                   "--save-register", prefix]
            p = subprocess.Popen(cmd, env=env, stdout=subprocess.PIPE, stderr=subprocess.PIPE, text=True)
            # mpirun passes SIGUSR1 on to every rank.
            try:
                p.communicate(timeout=1.0)
                fail("the run ended before the signal; choose a longer problem")
            except subprocess.TimeoutExpired:
                pass
            p.send_signal(signal.SIGUSR1)
            out, err = p.communicate(timeout=60)
            if p.returncode != 130:
                fail("a stopped run exits with 130, not %d\n%s%s" % (p.returncode, out, err))
            if json.loads(out)["status"] != "stopped":
                fail("the run should say it was stopped:\n" + out)
            for r in range(int(np)):
                if not os.path.exists("%s.rank%d.tmpReg" % (prefix, r)):
                    fail("rank %d saved no register\n%s" % (r, err))
            return
        if mode == "global":
            code, out, err = run([cli, "precalc", "generate", "KRk"], env)
            if code != 0:
                fail("precalc generate: exit %d\n%s%s" % (code, out, err))
        want_keys, want_text = cli_solution(cli, fen, n, env)
        if mode == "resume":
            prefix = os.path.join(home, "run")
            code, out, err = mpi_run(mpirun, prog, np, fen, n, env,
                                     ["--time-limit", "0.5", "--save-register", prefix])
            if code != 130:
                fail("a run stopped by its time limit exits with 130, not %d\n%s%s" % (code, out, err))
            stopped = json.loads(out)
            if stopped["status"] != "stopped" or stopped["units_completed"] >= stopped["units"]:
                fail("the first run should have been stopped before its end:\n" + out)
            for r in range(int(np)):
                if not os.path.exists("%s.rank%d.tmpReg" % (prefix, r)):
                    fail("rank %d saved no register\n%s" % (r, err))
            code, out, err = mpi_run(mpirun, prog, np, fen, n, env, ["--load-register", prefix])
            if code != 0:
                fail("the resume: exit %d\n%s%s" % (code, out, err))
            got = json.loads(out)
            if not any("loaded" in r for r in got["registers"]):
                fail("the resume loaded no register:\n" + out)
        else:
            code, out, err = mpi_run(mpirun, prog, np, fen, n, env)
            if code != 0:
                fail("exit %d\n%s%s" % (code, out, err))
            got = json.loads(out)
            # An eight-mover proves plenty of bounds of 7 plies and more: some must travel.
            if int(n) >= 8 and got["shared_bounds_in"] == 0:
                fail("no proved bounds reached rank 0:\n" + out)
            if mode == "idle" and got["units"] >= int(np):
                fail("the position should have fewer candidates than ranks")
            if mode == "global":
                code, plain, err = mpi_run(mpirun, prog, np, fen, n, env, ["--no-global-register"])
                if code != 0 or json.loads(plain)["nodes"] <= got["nodes"]:
                    fail("the ranks did not answer from the data:\n%s\n--- without:\n%s%s" % (out, plain, err))
        if got["status"] != "completed" or got["units_completed"] != got["units"]:
            fail("not every unit completed:\n" + out)
        keys = sorted(s["uci"] for s in got["solutions"])
        if keys != want_keys:
            fail("keys %s, single process %s" % (keys, want_keys))
        if got["text"] != want_text:
            fail("text differs from a single process's:\n%s\n--- single process:\n%s" % (got["text"], want_text))
        print("ok: %d ranks, %d units, keys %s" % (int(np), got["units"], keys))


if __name__ == "__main__":
    main()
