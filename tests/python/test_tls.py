"""A Mux behind a TLS entrance, which a relay plays."""

import asyncio
import pathlib
import ssl
import subprocess
import tempfile
import unittest

import dwmux
import support


class TlsEntrance:
    """Decrypts for the Mux, as an entrance in front of it does."""

    def __init__(self, certificate, key, mux_port):
        self.context = ssl.SSLContext(ssl.PROTOCOL_TLS_SERVER)
        self.context.load_cert_chain(certificate, key)
        self.mux_port = mux_port

    async def __aenter__(self):
        self.server = await asyncio.start_server(self.serve, "127.0.0.1", 0, ssl=self.context)
        self.port = self.server.sockets[0].getsockname()[1]
        return self

    async def __aexit__(self, *_):
        self.server.close()

    async def serve(self, client_reader, client_writer):
        mux_reader, mux_writer = await asyncio.open_connection("127.0.0.1", self.mux_port)
        await asyncio.gather(self.relay(client_reader, mux_writer), self.relay(mux_reader, client_writer))

    @staticmethod
    async def relay(reader, writer):
        while piece := await reader.read(4096):
            writer.write(piece)
        writer.close()


class TlsTest(unittest.IsolatedAsyncioTestCase):
    def setUp(self):
        self.system = support.System(self)
        folder = tempfile.TemporaryDirectory(prefix="mux-tls-")
        self.addCleanup(folder.cleanup)
        self.certificate, self.key = (pathlib.Path(folder.name) / name for name in ("mux.pem", "mux.key"))
        subprocess.run(
            ["openssl", "req", "-x509", "-newkey", "ec", "-pkeyopt", "ec_paramgen_curve:prime256v1", "-nodes",
             "-subj", "/CN=mux", "-addext", "subjectAltName=DNS:mux.invalid", "-days", "2",
             "-keyout", self.key, "-out", self.certificate],
            check=True, capture_output=True)

    def entrance(self):
        return TlsEntrance(self.certificate, self.key, self.system.port)

    async def test_requests_and_events_go_through_an_entrance(self):
        context = ssl.create_default_context(cafile=self.certificate)
        async with (self.entrance() as entrance,
                    dwmux.AsyncClient(port=entrance.port, tls=context, server_hostname="mux.invalid") as client):
            events = client.events()
            await client.open_lock(1, 5)
            self.system.gateways[0].command("card 5 04A1")
            self.assertEqual((await anext(events)).card, "04A1")

    async def test_a_certificate_that_nobody_trusts_is_an_error(self):
        async with self.entrance() as entrance:
            client = dwmux.AsyncClient(port=entrance.port, tls=ssl.create_default_context())
            with self.assertRaisesRegex(dwmux.CannotConnect, "certificate verify failed"):
                await client.connect()

    async def test_a_certificate_of_another_host_is_an_error(self):
        context = ssl.create_default_context(cafile=self.certificate)
        async with self.entrance() as entrance:
            client = dwmux.AsyncClient(port=entrance.port, tls=context, server_hostname="other.invalid")
            with self.assertRaisesRegex(dwmux.CannotConnect, "Hostname mismatch"):
                await client.connect()


if __name__ == "__main__":
    unittest.main()
