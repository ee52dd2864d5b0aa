#!/usr/bin/python3
"""First light in Python: open a channel, start the bus with an ENI file, write outputs, read
inputs, stop. Usage: first_light.py ENI [BOARD]"""
import sys
import time

import pci_tarn


def show_progress(fraction):
    print(f"\rstarting {fraction * 100:3.0f} %", end="", flush=True)


def exchange(channel):
    for number in range(1, 11):
        channel.write(bytes([number] * 8))
        time.sleep(0.01)  # some bus cycles
        print(f"wrote {number:02x}, read {channel.read(8).hex(' ')}")


def main(arguments):
    if not arguments:
        print("usage: first_light.py ENI [BOARD]", file=sys.stderr)
        return 2
    try:
        with pci_tarn.Channel(*arguments[1:2]) as channel:
            channel.start(arguments[0], show_progress)
            print()
            try:
                exchange(channel)
            finally:
                channel.stop()
    except pci_tarn.PciTarnError as error:
        print(error, file=sys.stderr)
        return 1
    return 0


sys.exit(main(sys.argv[1:]))
