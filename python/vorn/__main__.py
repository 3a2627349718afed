"""Command line of the vorn Python package: `python3 -m vorn plot OUTPUTS.csv -o FILE.png`."""

import sys


def main(argv=None) -> int:
    argv = list(sys.argv[1:] if argv is None else argv)
    commands = {"plot": "draw a `vorn replay` outputs CSV as a PNG"}
    if not argv or argv[0] in ("-h", "--help"):
        print("usage: python3 -m vorn COMMAND [options]\n\ncommands:")
        for name, text in commands.items():
            print(f"  {name:8} {text}")
        print("\n`python3 -m vorn COMMAND --help` describes a command.")
        return 0 if argv else 2
    if argv[0] == "plot":
        from . import plot  # matplotlib is imported only for this command

        return plot.main(argv[1:])
    print(f"unknown command '{argv[0]}'; commands: {', '.join(commands)}", file=sys.stderr)
    return 2


if __name__ == "__main__":
    sys.exit(main())
