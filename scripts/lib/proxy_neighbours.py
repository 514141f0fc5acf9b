#!/usr/bin/env python3
"""Clients of mux-proxy that behave badly, for the benchmark of their neighbours: python3 scripts/lib/proxy_neighbours.py
KIND PORT AUTHORITY CERTIFICATE KEY. Prints "ready", and goes on until its standard input ends.

Kinds: the names of KINDS.
"""
import json
import select
import socket
import ssl
import sys
import threading
import time

from programs import packet

# Not the gateway that the others ask: at one gateway all wait for their turn.
STATUS = packet(json.dumps({"MessageID": "bad", "MessageCode": 12, "Data": {"gatewayID": 98, "lockID": 5}}))
BURST_PAUSE = 0.5


class Site:
    def __init__(self, port, authority, certificate, key):
        self.port = port
        self.context = ssl.create_default_context(cafile=authority)
        self.context.load_cert_chain(certificate, key)

    def plain(self):
        return socket.create_connection(("127.0.0.1", self.port), 20)

    def client(self):
        return self.context.wrap_socket(self.plain(), server_hostname="localhost")

    def greeting(self):
        """The first message of a handshake."""
        outgoing = ssl.MemoryBIO()
        half = self.context.wrap_bio(ssl.MemoryBIO(), outgoing, server_hostname="localhost")
        try:
            half.do_handshake()
        except ssl.SSLWantReadError:
            pass
        return outgoing.read()


def be_silent(site):
    return [site.client() for _ in range(200)], lambda _: time.sleep(1)


def trickle(site):
    """A byte of a request at a time, on many connections."""
    def step(clients):
        for byte in STATUS:
            for client in clients:
                client.send(bytes([byte]))
            time.sleep(0.005)
    return [site.client() for _ in range(50)], step


def read_nothing(site):
    """Requests without end, whose answers nobody takes."""
    def step(clients):
        for client in clients:
            client.settimeout(0)
            try:
                client.send(STATUS)
            except (ssl.SSLWantWriteError, ssl.SSLWantReadError):
                pass
            except OSError:
                clients.remove(client)
                clients.append(site.client())
                return
        time.sleep(0.001)
    return [site.client() for _ in range(20)], step


def flood(site):
    """As many requests as the connections take, with their answers read."""
    def step(clients):
        for client in select.select([], clients, [], 1)[1]:
            client.settimeout(0)
            try:
                client.send(STATUS * 50)
            except (ssl.SSLWantWriteError, ssl.SSLWantReadError):
                pass
            try:
                while client.recv(65536):
                    pass
            except (ssl.SSLWantWriteError, ssl.SSLWantReadError):
                pass
    return [site.client() for _ in range(20)], step


def flood_in_bytes(site):
    """The longest packet in records of one byte each, again and again."""
    stream = packet(" " * 65000)

    def send(client):
        for position in range(len(stream)):
            client.send(stream[position:position + 1])

    def step(clients):
        threads = [threading.Thread(target=send, args=[client], daemon=True) for client in clients]
        for thread in threads:
            thread.start()
        for thread in threads:
            thread.join()
    return [site.client() for _ in range(4)], step


def leave_handshakes_half_done(site):
    """Two hundred greetings at the same moment, then nothing, and the next two hundred."""
    greeting = site.greeting()

    def step(_):
        sockets = [site.plain() for _ in range(200)]
        for half in sockets:
            half.send(greeting)
        time.sleep(BURST_PAUSE)
        for half in sockets:
            half.close()
    return [], step


def crowd_in(site):
    """Twenty at a time connect, shake hands and leave."""
    def step(_):
        threads = [threading.Thread(target=lambda: site.client().close()) for _ in range(20)]
        for thread in threads:
            thread.start()
        for thread in threads:
            thread.join()
    return [], step


KINDS = {
    "silent": be_silent, "trickling": trickle, "reading nothing": read_nothing, "flooding": flood,
    "flooding in single bytes": flood_in_bytes, "with half-done handshakes": leave_handshakes_half_done,
    "connecting all the time": crowd_in,
}


def main():
    clients, step = KINDS[sys.argv[1]](Site(int(sys.argv[2]), *sys.argv[3:6]))
    print("ready", flush=True)
    while not select.select([sys.stdin], [], [], 0)[0]:
        step(clients)


if __name__ == "__main__":
    main()
