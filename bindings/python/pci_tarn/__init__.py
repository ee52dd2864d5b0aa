"""Python binding of pci_tarn, the host library of a PCI Express EtherCAT master card.

Every function of the library is here under its own name, as in pci_tarn.EcatGetSlaveCount(); those
that return a status raise PciTarnError when it is not 0, and return None. Channel is what most
programs need.
"""
import ctypes

from . import _generated
from ._generated import *  # noqa: F401,F403  records, enumerations, constants
from ._library import PciTarnError, datum, error_text, functions, library

# Names with leading underscores as well: __EcatGetPiInfo is pci_tarn.__EcatGetPiInfo.
globals().update(functions)

_f = functions


def library_version():
    """Version of the library that is loaded, as in "1.9.1[Jun 30 2025]"."""
    info = _generated.DriverInfo()
    try:
        _f["DriverGetInfo"](ctypes.byref(info))
    except PciTarnError:
        pass  # the version is there all the same
    return info.library_version.decode()


def boards():
    """What every card that is present says of itself: a list of BoardInfo."""
    found = []
    while True:
        info = _generated.BoardInfo()
        try:
            _f["DriverEnumBoard"](len(found), ctypes.byref(info))
        except PciTarnError as error:
            if error.code == _generated.Status.E_NO_BOARD:
                return found
            raise
        found.append(info)


class Channel:
    """One opened EtherCAT channel; closed at the end of a `with` block.

    `board` is "ID0", "AL3" or the name of a card. The handle for all other functions is `handle`.
    """

    def __init__(self, board="ID0", channel=0):
        self.handle = ctypes.POINTER(_generated.EcatHandle)()
        _f["EcatOpen"](ctypes.byref(self.handle), board, channel)

    def __enter__(self):
        return self

    def __exit__(self, *_):
        self.close()

    def close(self):
        """Closes the channel; the bus goes on running."""
        handle, self.handle = self.handle, ctypes.POINTER(_generated.EcatHandle)()
        if handle:
            _f["EcatClose"](handle)

    def start(self, eni, progress=None):
        """Starts the bus with an ENI file. `progress` is called with fractions from 0 to 1; what it
        raises comes out of here once the start is over, with the bus running."""
        failure = []

        def report(_, fraction):
            try:
                progress(fraction)
            except BaseException as error:  # must not pass through the library
                failure.append(error)

        callback = _generated.PciProgress(report) if progress else None
        _f["EcatBusRunEx"](self.handle, eni, callback, None)
        if failure:
            raise failure[0]

    def stop(self):
        """Stops the bus."""
        _f["EcatBusStop"](self.handle)

    def running(self):
        """Whether the bus runs."""
        return _f["EcatBusIsRunning"](self.handle)

    def slave_count(self):
        """Number of configured slaves."""
        count = ctypes.c_uint16()
        _f["EcatGetSlaveCount"](self.handle, ctypes.byref(count))
        return count.value

    def slave_state(self, slave):
        """EtherCAT state of a slave: 1 INIT, 2 PREOP, 3 BOOT, 4 SAFEOP, 8 OP."""
        state = ctypes.c_uint8()
        _f["EcatGetSlaveState"](self.handle, slave, ctypes.byref(state))
        return state.value

    def write(self, data, offset=0, area=_generated.ECAT_PI_FAST_OUTPUT):
        """Writes bytes into an area of the process image."""
        data = bytes(data)
        _f["EcatPIWrite"](self.handle, area, offset, len(data), data)

    def read(self, length, offset=0, area=_generated.ECAT_PI_SHADOW_INPUT):
        """Reads bytes from an area of the process image."""
        buffer = ctypes.create_string_buffer(length)
        _f["EcatPIRead"](self.handle, area, offset, length, buffer)
        return buffer.raw

    def write_slave(self, slave, data, offset=0, area=_generated.ECAT_PI_FAST_OUTPUT):
        """Writes bytes of one slave; needs an ENI file with a mapping."""
        data = bytes(data)
        _f["EcatSlavePIWriteEx"](self.handle, area, slave, offset, len(data), data)

    def read_slave(self, slave, length, offset=0, area=_generated.ECAT_PI_SHADOW_INPUT):
        """Reads bytes of one slave; needs an ENI file with a mapping."""
        buffer = ctypes.create_string_buffer(length)
        _f["EcatSlavePIReadEx"](self.handle, area, slave, offset, length, buffer)
        return buffer.raw

    def sdo_read(self, slave, index, subindex=0, complete=False, size=1024, timeout_ms=1000):
        """Value of an entry of a slave's object dictionary, of `size` bytes at most. `complete` reads
        the whole object; `timeout_ms` is for the slave."""
        buffer = ctypes.create_string_buffer(size)
        length = ctypes.c_uint32(size)
        _f["EcatCoeSDOUploadEx"](
            self.handle, slave, index, subindex, complete, ctypes.byref(length), buffer, timeout_ms
        )
        return buffer.raw[: length.value]

    def sdo_write(self, slave, index, data, subindex=0, complete=False, timeout_ms=1000):
        """Writes an entry of a slave's object dictionary, or with `complete` a whole object."""
        data = bytes(data)
        _f["EcatCoeSDODownloadEx"](
            self.handle, slave, index, subindex, complete, len(data), data, timeout_ms
        )

    def foe_read(self, slave, local_path, name):
        """Reads the slave's file `name` by FoE into a file of the host."""
        _f["EcatFoERead"](self.handle, slave, local_path, name)

    def foe_write(self, slave, local_path, name):
        """Sends a file of the host by FoE to the slave, where it gets the name `name`."""
        _f["EcatFoEWrite"](self.handle, slave, local_path, name)

    def eeprom_read(self, slave, address, length):
        """Bytes of a slave's EEPROM from the word `address` on."""
        buffer = ctypes.create_string_buffer(length)
        _f["EcatSlaveEepromRead"](self.handle, slave, address, length, buffer)
        return buffer.raw

    def eeprom_write(self, slave, address, data):
        """Writes bytes to a slave's EEPROM from the word `address` on."""
        data = bytes(data)
        _f["EcatSlaveEepromWrite"](self.handle, slave, address, len(data), data)

    def memory_read(self, slave, address, length):
        """Bytes of the memory of a slave's controller."""
        buffer = ctypes.create_string_buffer(length)
        _f["EcatSlaveMemoryRead"](self.handle, slave, address, length, buffer)
        return buffer.raw

    def memory_write(self, slave, address, data):
        """Writes bytes to the memory of a slave's controller."""
        data = bytes(data)
        _f["EcatSlaveMemoryWrite"](self.handle, slave, address, len(data), data)
