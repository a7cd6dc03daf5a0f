"""The command, and how it has to answer."""
import film as films
from programs import Wrong, last_line, run


def succeeded(command, *arguments, code=0):
    done = run([command, *arguments])
    if done.returncode != code:
        raise Wrong(f"{arguments[0]}: exit code {done.returncode} instead of {code}: "
                    f"{last_line(done.stderr)}")
    return done


def failed_with_one_line(done, codes=(1,)):
    lines = done.stderr.decode(errors="replace").strip().splitlines()
    if done.returncode not in codes:
        raise Wrong(f"exit code {done.returncode} instead of {codes}: {last_line(done.stderr)}")
    if len(lines) != 1 or not lines[0].startswith("tkmjpg: "):
        raise Wrong(f"{len(lines)} lines instead of one: {lines[:2]}")
    return lines[0]


def coded(command, folder, source, *arguments, name="film.avi"):
    succeeded(command, "encode", films.write_y4m(source, folder / f"{name}.y4m"), folder / name,
              "--quiet", *arguments)
    return folder / name


def decoded(command, path, *arguments):
    out = path.with_name(path.name + ".out.y4m")
    succeeded(command, "decode", path, out, "--quiet", "--force", *arguments)
    return films.read_y4m(out.read_bytes())
