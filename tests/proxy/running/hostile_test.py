"""What is made to hurt the Mux, sent by a client that may do everything: the Mux runs on, and each text gets its one
answer."""
import random
import unittest

from proxy_site import ROOT, STATUS, Site, result

CORPUS = ROOT / "fuzz" / "corpus"


def files(*folders):
    return [path.read_bytes() for folder in folders for path in sorted((CORPUS / folder).iterdir())]


def mutated(text, chance):
    """The text with a byte, or a stretch of it, left out, doubled or replaced."""
    begin = chance.randrange(len(text) + 1)
    end = min(len(text), begin + chance.choice((1, 1, 2, 20)))
    middle = chance.choice((b"", 2 * text[begin:end], chance.randbytes(end - begin), b'"', b"}", b"0", b"\0"))
    return text[:begin] + middle + text[end:]


class Hostile(Site):
    def check_all_is_well(self, client):
        """The next answer is the one to this request: no text before it got two."""
        message_id = client.request(STATUS)
        answer = client.receive()
        self.assertEqual((answer["MessageID"], result(answer)), (message_id, 0))
        self.assertIsNone(self.mux.process.poll())
        self.assertIsNone(self.proxy.process.poll())
        self.assertEqual(self.proxy.count("Connected to the Mux"), 1)

    def test_each_text_gets_one_answer(self):
        chance = random.Random(20250520)
        texts = files("client-messages", "proxy-requests")
        texts += [mutated(text, chance) for text in texts]
        client = self.client()
        for text in texts:
            client.send(text)
            with self.subTest(text):
                self.assertIn("MessageID", client.receive())
        self.check_all_is_well(client)

    def test_no_stream_of_bytes_does_harm(self):
        for stream in files("client-packets", "proxy-packets"):
            for begin in (0, 1):  # with and without the byte that says how the stream is cut
                hostile = self.client()
                try:
                    hostile.socket.sendall(stream[begin:])
                except OSError:
                    pass  # the proxy closes it as soon as it cannot become a packet any more
                hostile.close()
        self.check_all_is_well(self.client())


if __name__ == "__main__":
    unittest.main()
