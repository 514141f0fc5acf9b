"""Events of readers, from the real Mux to the program."""

import asyncio
import concurrent.futures
import gc
import unittest

import dwmux
import support
from dwmux import CardAdmitted, CardPresented, EventsDropped, PinEntered
from dwmux._event_stream import EventStream


class EventsTest(support.SystemTest):
    def setUp(self):
        super().setUp()
        self.client = self.enterContext(dwmux.Client(port=self.system.port))
        self.system.wait_for_clients(1)

    def test_cards_and_pins_come_as_they_happen(self):
        events = self.client.events()
        self.gateway.command("card 5 04A1B2C3")
        event = next(events)
        self.assertIsInstance(event, CardPresented)
        self.assertEqual((event.gateway, event.lock, event.card), (1, 5, "04A1B2C3"))
        self.gateway.command("pin 6 1234")
        event = next(events)
        self.assertIsInstance(event, PinEntered)
        self.assertEqual((event.lock, event.pin), (6, "1234"))

    def test_a_lock_has_admitted_a_card(self):
        events = self.client.events()
        self.gateway.command("card 5 04A1B2C3 15")
        self.assertIsInstance(next(events), CardAdmitted)

    def test_a_card_is_answered(self):
        events = self.client.events()
        self.gateway.command("card 5 04A1B2C3")
        event = next(events)
        self.client.open_close_lock(event.gateway, event.lock, 5, for_event=True)
        self.gateway.wait_for_request("OPEN_CLOSE_LOCK (event) lock 5")

    def test_each_iterator_gets_every_event(self):
        iterators = [self.client.events(), self.client.events()]
        self.gateway.command("card 5 04A1")
        self.assertEqual([next(events).card for events in iterators], ["04A1", "04A1"])

    def test_waiting_may_have_an_end(self):
        events = self.client.events()
        self.assertRaises(TimeoutError, events.next, 0.1)
        self.gateway.command("card 5 04A1")
        self.assertEqual(events.next(support.DEADLINE).card, "04A1")

    def test_an_iterator_ends_with_its_client(self):
        events = self.client.events()
        with concurrent.futures.ThreadPoolExecutor(1) as pool:
            rest = pool.submit(list, events)
            self.client.close()
            self.assertEqual(rest.result(support.DEADLINE), [])
        self.assertEqual(list(events), [])


class EventStreamTest(unittest.IsolatedAsyncioTestCase):
    async def test_a_slow_program_loses_the_oldest_and_is_told(self):
        stream = EventStream(2)
        for number in range(5):
            stream._put(number)
        self.assertEqual([await stream.next() for _ in range(3)], [EventsDropped(3), 3, 4])

    async def test_what_came_before_the_end_is_still_there(self):
        stream = EventStream(2)
        stream._put(1)
        stream._end()
        self.assertEqual([happening async for happening in stream], [1])

    async def test_a_cancelled_reader_loses_nothing(self):
        stream = EventStream(2)
        with self.assertRaises(TimeoutError):
            await asyncio.wait_for(stream.next(), 0.01)
        stream._put(1)
        self.assertEqual(await stream.next(), 1)

    async def test_nothing_is_kept_for_a_stream_that_nobody_has(self):
        client = dwmux.AsyncClient()
        kept = client.events()
        client.events()
        gc.collect()
        self.assertEqual(client._live_streams(), [kept])

    async def test_a_stream_keeps_something(self):
        self.assertRaises(ValueError, dwmux.AsyncClient().events, limit=0)


if __name__ == "__main__":
    unittest.main()
