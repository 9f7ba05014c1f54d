#!/usr/bin/env python3
"""exchange.py PORT BAUD SAMPLES SCRIPT: what a user would write with python3-serial in place of the component.

Each line of SCRIPT is a request in hexadecimal text; it is written, and the answer read until "OK". Confirmation lines
are checked and turned into bytes. Prints the seconds of each run of the whole script."""
import functools
import sys
import time

import serial


def ask(port, request):
    port.write(request)
    answer = bytearray()
    while not answer.endswith(b"OK\r\n"):
        answer += port.read(port.in_waiting or 1)
    return answer


def payloads(answer):
    for line in bytes(answer).split(b"\r\n"):
        if not line.startswith(b"*MOVA=") or line == b"*MOVA=ACK":
            continue
        body = bytes.fromhex(line[6:].decode())
        if functools.reduce(lambda a, b: a ^ b, body) != 0:
            sys.exit("wrong checksum")
        yield body[2:-1]


def run(port, script):
    data = b""
    for request in script:
        for payload in payloads(ask(port, request)):
            data += payload[3:]
    return data


def main():
    name, baud, samples, path = sys.argv[1], int(sys.argv[2]), int(sys.argv[3]), sys.argv[4]
    with open(path) as file:
        script = [bytes.fromhex(line) for line in file.read().split()]
    with serial.Serial(name, baud or 115200, timeout=30) as port:
        run(port, script)
        for _ in range(samples):
            start = time.perf_counter()
            run(port, script)
            print(time.perf_counter() - start)


main()
