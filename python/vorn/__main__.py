"""``python -m vorn "select ..."`` runs vornq with the same arguments."""

import os
import sys

from ._files import program_path


def main() -> None:
    program = str(program_path())
    os.execv(program, ["vornq", *sys.argv[1:]])


if __name__ == "__main__":
    main()
