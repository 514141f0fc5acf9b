"""The client for asyncio against the real Mux."""

import asyncio
import datetime
import unittest

import dwmux
import support
from dwmux import AsyncClient, Card, NotSent, Refused, Timeouts


class AsyncClientTest(unittest.IsolatedAsyncioTestCase):
    def setUp(self):
        self.system = support.System(self)
        self.gateway = self.system.gateways[0]

    def client(self, **arguments):
        return AsyncClient(port=self.system.port, **arguments)

    async def wait_for_request(self, name, times=1):
        await asyncio.to_thread(self.gateway.wait_for_request, name, times)

    async def test_every_operation_is_executed(self):
        card = Card("04A1B2C3", is_uid=False, setup_number=2, option=True)
        async with self.client() as client:
            await client.open_lock(1, 5)
            await client.close_lock(1, 5)
            await client.open_close_lock(1, 5, 7)
            await client.deny_access(1, 5)
            await client.add_card(1, 5, card)
            await client.remove_card(1, 5, card)
            await client.clear_whitelist(1, 5)
            await client.disable_whitelist(1, 5)
            await client.enable_whitelist(1, 5)
            self.assertFalse((await client.status(1, 5)).battery_alarm)

    async def test_six_requests_at_once_get_six_answers(self):
        async with self.client() as client:
            await asyncio.gather(*(client.open_lock(1, 5) for _ in range(6)))
        await self.wait_for_request("OPEN_LOCK lock 5", 6)

    async def test_a_refusal_is_an_error(self):
        async with self.client() as client:
            with self.assertRaisesRegex(Refused, "^No route for device address 7 on gateway 1$"):
                await client.open_lock(1, 7)

    async def test_a_cancelled_request_keeps_its_turn_until_its_answer(self):
        self.gateway.command("fault delay 2000 1")
        async with self.client() as client:
            first = asyncio.create_task(client.open_lock(1, 5))
            await self.wait_for_request("OPEN_LOCK lock 5")
            first.cancel()
            await client.close_lock(1, 5)
        opened, closed = (self.gateway.time_of(name) for name in ("OPEN_LOCK", "CLOSE_LOCK"))
        self.assertGreaterEqual((closed - opened) % datetime.timedelta(days=1), datetime.timedelta(seconds=2))

    async def test_a_request_that_is_cancelled_before_its_turn_is_not_sent(self):
        async with self.client() as client:
            first = asyncio.create_task(client.open_lock(1, 5))
            second = asyncio.create_task(client.open_lock(1, 6))
            await self.wait_for_request("OPEN_LOCK lock 5")
            second.cancel()
            await first
            await client.close_lock(1, 5)
        self.assertEqual(self.gateway.opened(), 1)

    async def test_closing_ends_all_requests(self):
        self.gateway.command("fault silence always")
        client = self.client(timeouts=Timeouts(start=None))
        await client.connect()
        first = asyncio.create_task(client.open_lock(1, 5))
        second = asyncio.create_task(client.open_lock(1, 6))
        await self.wait_for_request("OPEN_LOCK lock 5")
        await client.close()
        self.assertIsInstance((await asyncio.gather(first, return_exceptions=True))[0], dwmux.ConnectionLost)
        self.assertIsInstance((await asyncio.gather(second, return_exceptions=True))[0], NotSent)


if __name__ == "__main__":
    unittest.main()
