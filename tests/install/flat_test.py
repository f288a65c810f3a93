"""The flat functions from Python, against a simulated generator. Paths of library and simulator."""

import select
import subprocess
import sys
import threading
import unittest

import tkgen

library, simulator = sys.argv[1:3]
toolkit = tkgen.load(library)


class Flat(unittest.TestCase):
    def setUp(self):
        self.generator = subprocess.Popen(
            [simulator], stdin=subprocess.PIPE, stdout=subprocess.PIPE, text=True
        )
        self.device = self.generator.stdout.readline().split()[1]
        self.assertTrue(toolkit.map_port("COM2", self.device))

    def tearDown(self):
        self.generator.communicate("quit\n", timeout=10)

    def await_message(self, window, name):
        for message in window.messages(seconds=20):
            self.assertEqual(message.message, tkgen.MESSAGE)
            if message.name == name:
                return message.value
        self.fail(f"{name} wasn't posted")

    def test_closed(self):
        self.assertFalse(toolkit.transmit("KV", 70))
        self.assertEqual(toolkit.get("KV"), tkgen.UNKNOWN)
        self.assertEqual(toolkit.error() + toolkit.latched_error(), 0)
        with self.assertRaises(OSError):
            toolkit.map_port("COM3", "/nonexistent") and toolkit.opened(tkgen.COM3).__enter__()

    def test_drives_a_generator(self):
        with toolkit.window() as window, toolkit.window() as other:
            for ms in (50, 60):
                with toolkit.opened(tkgen.COM2):
                    toolkit.enable_events(window)
                    toolkit.enable_events(other)
                    toolkit.enable_refresh(True)
                    self.assertEqual(self.await_message(window, "back"), 0)
                    self.assertTrue(toolkit.controllable("KV"))
                    self.assertTrue(toolkit.displayable("FI") > toolkit.controllable("FI"))
                    self.assertTrue(toolkit.transmit("KV", 200))
                    self.assertEqual(self.await_message(window, "ER"), 0)
                    self.assertEqual(toolkit.error(), 203)
                    self.assertTrue(toolkit.transmit_apr(1, 0, 0, 10, 1, -1, 75, 100, ms))
                    self.assertEqual(self.await_message(window, "MS"), ms)
                    self.assertEqual((toolkit.get("KV"), toolkit.get("FN")), (75, -1))
                    setting = threading.Thread(target=toolkit.transmit, args=("KV", 80 + ms))
                    setting.start()
                    self.assertTrue(select.select([window], [], [], 20)[0])
                    while self.await_message(window, "KV") != 80 + ms:
                        pass
                    setting.join()
                self.assertEqual(toolkit.get("KV"), tkgen.UNKNOWN)
            self.assertIsNone(other.get())
            self.assertEqual(window.lost, 0)


unittest.main(argv=sys.argv[:1])
