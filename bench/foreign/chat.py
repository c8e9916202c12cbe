#!/usr/bin/python3
"""Starts a chat program that meets one visitor who says the lines of a file.

usage: chat.py FILE PROGRAM [ARGUMENT…]     PORT in an argument stands for the port of a server that only this machine
reaches. The visitor answers whoever comes into #harbour, in a conversation of their own.
"""

import os
import pathlib
import socket
import sys


def serve(listener, lines):
    connection, _ = listener.accept()
    nick, tells = "guest", connection.makefile("w", encoding="utf-8", newline="\r\n")

    def say(*messages):
        for message in messages:
            print(message, file=tells)
        tells.flush()

    for message in connection.makefile(encoding="utf-8", errors="replace"):
        command, _, rest = message.strip().partition(" ")
        if command == "NICK":
            nick = rest.lstrip(":")
        elif command == "USER":
            say(f":local 001 {nick} :Welcome", f":local 422 {nick} :No message of the day")
        elif command == "PING":
            say(f":local PONG local {rest}")
        elif command == "JOIN":
            say(f":{nick}!guest@local JOIN #harbour", f":local 353 {nick} = #harbour :{nick} visitor",
                f":local 366 {nick} #harbour :End of names",
                *(f":visitor!visitor@local PRIVMSG {nick} :{line}" for line in lines))


def main():
    listener = socket.create_server(("127.0.0.1", 0))
    port = listener.getsockname()[1]
    if os.fork() == 0:
        serve(listener, pathlib.Path(sys.argv[1]).read_text(encoding="utf-8").splitlines())
        return
    listener.close()
    os.execvp(sys.argv[2], [argument.replace("PORT", str(port)) for argument in sys.argv[2:]])


if __name__ == "__main__":
    main()
