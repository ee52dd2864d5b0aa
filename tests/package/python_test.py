"""The Python binding on a virtual card, whose ENI file io.xml lies in the current directory."""
import ctypes
import subprocess
import tempfile
import time
import unittest
from pathlib import Path
from unittest import mock

import pci_tarn
from pci_tarn import _generated, _library

ROOT = Path(__file__).resolve().parent.parent.parent


def listed(kind):
    rows = [line.split() for line in (ROOT / "api/exports.txt").read_text().splitlines()]
    return [row[0] for row in rows if len(row) == 5 and row[1] == kind]


class Declarations(unittest.TestCase):
    def test_every_function_of_the_list_is_bound(self):
        self.assertEqual(sorted(listed("func")), sorted(pci_tarn.functions))
        for name in listed("func"):
            self.assertIs(getattr(pci_tarn, name), pci_tarn.functions[name])
            self.assertTrue(hasattr(pci_tarn.library, name), name)
            self.assertIsNotNone(pci_tarn.functions[name].argtypes, name)

    def test_a_function_that_the_library_lacks_fails_when_it_is_called(self):
        with self.assertRaisesRegex(NotImplementedError, r"libpci_tarn.so has no EcatNoSuch\(\)"):
            _library._bind("EcatNoSuch", None, [], False)()

    def test_every_datum_of_the_list_can_be_read(self):
        for name in listed("data"):
            pci_tarn.datum(name)
        self.assertEqual(pci_tarn.datum("__proc_id").value, 1)
        self.assertEqual(
            pci_tarn.datum("mailbox_mutex")[3][1][0], pci_tarn.getMutex_mailbox(3, 1, 0)
        )

    def test_records_are_laid_out_as_in_c(self):
        headers = ["stddef.h", "pci_tarn/pci_tarn.h", "cjson/cJSON.h"]
        lines = [f"#include <{header}>" for header in headers]
        for name, record in vars(_generated).items():
            if isinstance(record, type) and issubclass(record, ctypes.Structure):
                for field in getattr(record, "_fields_", []):
                    offset = getattr(record, field[0]).offset
                    lines.append(f'_Static_assert(offsetof({name}, {field[0]}) == {offset}, "");')
                if hasattr(record, "_fields_"):
                    lines.append(f'_Static_assert(sizeof({name}) == {ctypes.sizeof(record)}, "");')
        self.assertGreater(len(lines), 100)
        with tempfile.TemporaryDirectory() as folder:
            source = Path(folder) / "records.c"
            source.write_text("\n".join(lines) + "\n")
            subprocess.run(
                ["gcc", "-std=c11", "-fsyntax-only", f"-I{ROOT}/api/include",
                 f"-I{ROOT}/build/deps/include", str(source)],
                check=True,
            )

    def test_arguments_of_the_wrong_number_or_type_are_refused(self):
        with self.assertRaises(TypeError):
            pci_tarn.EcatOpen()
        with self.assertRaises(ctypes.ArgumentError):
            pci_tarn.EcatClose("no handle")
        with self.assertRaises((ctypes.ArgumentError, ValueError)):
            pci_tarn.Channel("a\0b")

    def test_integers_are_not_cut(self):
        self.assertEqual(pci_tarn.EcatGetAlStatusCodeMessage(0xFFFF), "unkown status")
        for code in (-1, 0x10000, 0x10011):
            with self.assertRaises(ctypes.ArgumentError):
                pci_tarn.EcatGetAlStatusCodeMessage(code)
        self.assertEqual(pci_tarn.error_text(80013), pci_tarn.DriverGetErrStr(80013))

    def test_binding_and_header_have_one_version(self):
        project = (ROOT / "bindings/python/pyproject.toml").read_text()
        self.assertIn(f'\nversion = "{pci_tarn.PCI_TARN_VERSION}"\n', project)
        self.assertTrue(pci_tarn.library_version().startswith(pci_tarn.PCI_TARN_VERSION + "["))

    def test_status_codes_have_their_names(self):
        self.assertEqual(pci_tarn.Status(80013), pci_tarn.Status.E_HANDLE)
        self.assertEqual(pci_tarn.AlStatus.NO_MEMORY, 2)
        self.assertEqual(pci_tarn.ECAT_PI_SHADOW_INPUT, 4)


class Errors(unittest.TestCase):
    def test_an_error_carries_code_text_and_function(self):
        with self.assertRaises(pci_tarn.PciTarnError) as caught:
            pci_tarn.Channel("nobody")
        self.assertEqual(caught.exception.code, 80004)
        self.assertEqual(caught.exception.text, "Device not find")
        self.assertEqual(caught.exception.function, "EcatOpen")
        self.assertEqual(str(caught.exception), "EcatOpen: Device not find (80004)")

    def test_a_value_is_no_error(self):
        self.assertEqual(pci_tarn.EtherCATGetCount(), 1)
        self.assertEqual(pci_tarn.EcatErrorGetErrorMessage(80013), "Invalid handle")

    def test_a_closed_channel_is_an_invalid_handle(self):
        channel = pci_tarn.Channel()
        channel.close()
        channel.close()
        with self.assertRaises(pci_tarn.PciTarnError) as caught:
            channel.slave_count()
        self.assertEqual(caught.exception.code, pci_tarn.Status.E_HANDLE)


class SlaveServices(unittest.TestCase):
    """What the methods of a channel make of their arguments, without a card."""

    def setUp(self):
        self.channel = pci_tarn.Channel.__new__(pci_tarn.Channel)
        self.channel.handle = "handle"

    def replaced(self, name, function=lambda *arguments: None):
        """The function of that name as a mock that does as `function` says."""
        fake = mock.Mock(side_effect=function)
        patch = mock.patch.dict(pci_tarn.functions, {name: fake})
        patch.start()
        self.addCleanup(patch.stop)
        return fake

    def test_sdo_read_gives_the_bytes_received(self):
        def upload(handle, slave, index, subindex, complete, size, data, timeout_ms):
            seen.append((handle, slave, index, subindex, complete, size._obj.value, timeout_ms))
            ctypes.memmove(data, b"\x10\x00\xff", 3)
            size._obj.value = 3

        seen = []
        self.replaced("EcatCoeSDOUploadEx", upload)
        self.assertEqual(self.channel.sdo_read(3, 0x1018, 1), b"\x10\x00\xff")
        self.assertEqual(
            self.channel.sdo_read(3, 0x1018, complete=True, size=4, timeout_ms=50), b"\x10\x00\xff"
        )
        self.assertEqual(
            seen,
            [("handle", 3, 0x1018, 1, False, 1024, 1000), ("handle", 3, 0x1018, 0, True, 4, 50)],
        )

    def test_sdo_write_sends_the_bytes(self):
        fake = self.replaced("EcatCoeSDODownloadEx")
        self.channel.sdo_write(3, 0x6060, b"\x08", timeout_ms=50)
        fake.assert_called_once_with("handle", 3, 0x6060, 0, False, 1, b"\x08", 50)

    def test_files_are_named_on_both_sides(self):
        read, write = self.replaced("EcatFoERead"), self.replaced("EcatFoEWrite")
        self.channel.foe_read(3, "host.bin", "app.efw")
        self.channel.foe_write(4, Path("new.bin"), "app.efw")
        read.assert_called_once_with("handle", 3, "host.bin", "app.efw")
        write.assert_called_once_with("handle", 4, Path("new.bin"), "app.efw")

    def test_eeprom_and_memory_are_bytes(self):
        def fill(handle, slave, address, length, data):
            ctypes.memmove(data, bytes(range(length)), length)

        for name in ("Eeprom", "Memory"):
            with self.subTest(name):
                read = self.replaced(f"EcatSlave{name}Read", fill)
                write = self.replaced(f"EcatSlave{name}Write")
                reader = getattr(self.channel, name.lower() + "_read")
                writer = getattr(self.channel, name.lower() + "_write")
                self.assertEqual(reader(3, 0x130, 4), b"\0\1\2\3")
                self.assertEqual(read.call_args[0][:4], ("handle", 3, 0x130, 4))
                writer(3, 0x130, [1, 2])
                write.assert_called_once_with("handle", 3, 0x130, 2, b"\1\2")

    def test_types_fit_the_library(self):
        channel = self.channel
        channel.handle = ctypes.POINTER(_generated.EcatHandle)()
        for call in (
            lambda: channel.sdo_read(0, 0x1000),
            lambda: channel.sdo_write(0, 0x1000, b"1234", complete=True),
            lambda: channel.foe_read(0, "host.bin", "n"),
            lambda: channel.foe_write(0, Path("host.bin"), "n"),
            lambda: channel.eeprom_read(0, 0, 2),
            lambda: channel.eeprom_write(0, 0, b"12"),
            lambda: channel.memory_read(0, 0, 2),
            lambda: channel.memory_write(0, 0, b"12"),
        ):
            with self.assertRaises(pci_tarn.PciTarnError) as caught:
                call()
            self.assertEqual(caught.exception.code, pci_tarn.Status.E_HANDLE)


class OnACard(unittest.TestCase):
    def test_the_version_of_the_library_is_told(self):
        self.assertRegex(pci_tarn.library_version(), r"^\d+\.\d+\.\d+\[.+\]$")

    def test_cards_are_listed(self):
        self.assertEqual([board.name for board in pci_tarn.boards()], [b"tarn0"])

    def test_a_bus_runs_between_start_and_stop(self):
        fractions = []
        with pci_tarn.Channel("tarn0", 1) as channel:
            channel.start(Path("io.xml"), fractions.append)
            self.assertTrue(channel.running())
            self.assertEqual(channel.slave_count(), 8)
            self.assertEqual(channel.slave_state(0), pci_tarn.ECAT_STATE_OP)
            channel.write(bytes(range(8)))
            deadline = time.monotonic() + 60
            while channel.read(8) != bytes(range(8)):  # until the bus has brought them back
                self.assertLess(time.monotonic(), deadline, "the inputs do not follow the outputs")
                time.sleep(0.001)
            channel.stop()
            self.assertFalse(channel.running())
        self.assertEqual(fractions[-1], 1)

    def test_a_bus_starts_without_progress(self):
        with pci_tarn.Channel("tarn0", 1) as channel:
            channel.start("io.xml")
            channel.stop()

    def test_what_the_progress_raises_reaches_the_caller(self):
        def progress(_):
            raise KeyError("stop here")

        with pci_tarn.Channel("tarn0", 1) as channel:
            with self.assertRaises(KeyError):
                channel.start("io.xml", progress)
            channel.stop()


unittest.main(verbosity=1)
