#include "pci_tarn/pci_tarn.h"

#include <gtest/gtest.h>

#include <map>

namespace {

// Every text as a literal, apart from the library's own table.
const std::map<int32_t, const char *> kStatusTexts = {
    {0, "No error"},
    {1, "Buffer size limit for current call. Require more calls"},
    {2, "No more items (for get next functions)"},
    {3, "Process Image double buffer is already synchronized"},
    {4, "No more items, but wait for new events(mailbox)"},
    {5, "Timeout"},
    {6, "Thread exit code"},
    {7, "Call need synchronization (internal)"},
    {8, "Indicate network redundancy state"},
    {9, "Try again"},
    {10, "Object has changed its state."},
    {528, "PI access is to late, some bus data can be lost"},
    {544, "PI access is to fast, no bus data change since last access"},
    {32769, "Memory limit(usually can not allocate new memory)"},
    {32770, "Function calls with invalid arguments"},
    {32771, "General error"},
    {32772, "Function not implemented"},
    {32773, "Can't open xml file"},
    {32774, "Xml configuration file contains errors"},
    {32775, "Master not configured. You must configure master before call"},
    {32776, "Master not connected. You must connect master before call"},
    {32777, "Master already connected"},
    {32778, "Invalid slave index"},
    {32779, "Invalid transition. Can't transit master to request state"},
    {32780, "Can't load driver"},
    {32781, "Can't initialize driver"},
    {32782, "Driver not supported"},
    {32783, "Driver not loaded"},
    {32784, "Can't send frame"},
    {32785, "Can't receive frame"},
    {32786, "Trace buffer overflow"},
    {32787, "Incorrect transition for current master state"},
    {32788, "Transition error"},
    {32789, "Invalid pointer"},
    {32790, "Invalid command type"},
    {32791, "Transition forbidden (can't send frames to the network)"},
    {32792, "Call timeout"},
    {32793, "Mailbox CanOpen transition aborted"},
    {32794, "Invalid working counter received"},
    {32795, "Invalid slave state"},
    {32796, "Data lose at snapshot call"},
    {32805, "Acyclic cmd data is not set"},
    {32806, "Can't add reserved cmd to command container"},
    {32807, "Buffer size limit"},
    {32808, "Can't build ecat telegram"},
    {32809, "Can't build ecat frame"},
    {32810, "Can't load configuration at current master state"},
    {32811, "Can't load configuration because verification errors"},
    {32812, "Can't read slave states from network"},
    {32813, "Can't transit slave to request state"},
    {32814, "Can't send master init commands"},
    {32815, "Master already started"},
    {32816, "Can't initialize thread"},
    {32817, "Error occurred while reading EEPROM"},
    {32818, "Mailbox not supported"},
    {32819, "Mailbox CoE not supported"},
    {32820, "Process Image already unlocked"},
    {32821, "Process frame error: invalid frame size"},
    {32822, "Process frame error: unsupported EtherCAT frame type"},
    {32823, "Process frame error: invalid command length"},
    {32824, "Process frame error: invalid internal data"},
    {32825, "Error occurred while writing EEPROM"},
    {32826, "Master not started. You must start master before call"},
    {32827, "Array bounds error exceeded"},
    {32829, "Frame receive time-out"},
    {32830, "Access to EEPROM temporarily denied"},
    {32831, "Busy"},
    {32832, "Invalid time"},
    {32833, "Call has been aborted"},
    {32834, "Slave PI region doesn't exist"},
    {32835, "EtherCAT DC synchronization error"},
    {32836, "Bad context"},
    {32837, "Operation is not permitted"},
    {32838, "Bad Master INI file content"},
    {32839, "Bad object"},
    {32840, "Can't send/receive data between Master subsystems"},
    {32848, "Can't open file"},
    {32849, "Can't write to file"},
    {32850, "Can't read from file"},
    {32852, "Can't encode data"},
    {32853, "Can't decode data"},
    {32864, "Ethernet adapter cannot be found."},
    {32880, "Queue has no resource to complete operation."},
    {32881, "Queue has no items to return."},
    {33024, "CoE: Unsupported CANOpen data type"},
    {33025, "CoE: Access to read only object"},
    {33026, "CoE: Access to write only object"},
    {33027, "CoE: Incomplete object entry description"},
    {33028, "CoE: SDO information error response"},
    {33104, "Mailbox VoE not supported"},
    {33280, "Master is already locked"},
    {33281, "No rights to complete this operation"},
    {33282, "User not found in the configuration"},
    {33283, "Master name cannot be found"},
    {33284, "ENI cyclic task cannot be found"},
    {33536, "Error code in AoE header is received"},
    {33537, "Result in AoE command response not 0"},
    {33538, "Failed to build/parse AoE header"},
    {33539, "Mailbox AoE not supported"},
    {33540, "AoE route not found"},
    {33552, "Mailbox SoE not supported"},
    {33553, "Error bit in SoE response is true. See error code for more information"},
    {33554, "Failed to build/parse SoE header"},
    {33555, "SoE Fragment is left"},
    {33568, "Mailbox EoE not supported"},
    {33584, "Mailbox FoE not supported"},
    {33792, "No object in OD"},
    {33793, "Object is already in OD"},
    {33794, "OD entry description already exists"},
    {33795, "Failed to create OD entry description"},
    {33796, "OD object type is invalid"},
    {33797, "OD access type is invalid"},
    {33798, "Invalid OD data type"},
    {33799, "Access to OD denied"},
    {33800, "OD has not been created"},
    {33801, "Mailbox error: not supported CoE service in CoE header"},
    {33802, "Mailbox error: invalid CoE SDO header"},
    {33803, "Mailbox error: CoE SDO service with Len < 10"},
    {33804, "Mailbox error: invalid size"},
    {33805, "Sub-object not found in object"},
    {33806, "Entry value is more than maximum"},
    {33807, "Entry value is less than minimum"},
    {34057, "Master library already initialized"},
    {34058, "The specified region is out of process image"},
    {34059, "The specified region of process image is already mapped"},
    {34060, "Master library have not initialized"},
    {34305, "Process frame error: general error"},
    {34306, "Process frame error: queued is full"},
    {34307, "Process frame error: can't transfer frame to scheduler"},
    {34308, "Process frame error: error preparing to send"},
    {34309, "Process frame error: waiting timeout is expired"},
    {34310, "Process frame error: sending timeout is expired"},
    {34311, "Process frame error: scheduler is destroyed"},
    {34312, "Process frame error: canceled"},
    {34313, "Process frame error: frame is too long"},
    {34336, "Mailbox request is waiting for outcoming data"},
    {34337, "Mailbox request answered with error data"},
    {34338, "Answer to mailbox request doesn't contain error data"},
    {34339, "Mailbox request is already finished"},
    {34352, "Mailbox general error"},
    {34353, "Syntax of Mailbox Header is wrong"},
    {34355, "Wrong channel number is used for Mailbox"},
    {34356, "The service in the mailbox protocol is not supported"},
    {34357, "The header of the mailbox protocol is wrong"},
    {34358, "Length of received mailbox data is too short"},
    {34359, "Mailbox protocol cannot be processed because of limited resources"},
    {34360, "The length of data is inconsistent"},
    {34560, "Master module initialization failed"},
    {34817, "Connection to remote side is not initialized or broken"},
    {34818, "Could not parse respond"},
    {34819, "Could not initialize RPC channel"},
    {34820, "Could not initialize library"},
    {34821, "Entry content is empty. No additional items could be retrieved"},
    {34822, "System call failed"},
    {80000, "Fill name too long"},
    {80001, "Queue full"},
    {80002, "Recvive buff too small"},
    {80003, "Recvive timeout"},
    {80004, "Device not find"},
    {80005, "Invalid ethercat channel"},
    {80006, "Api not support"},
    {80007, "File size is too big"},
    {80008, "Eni file size is too big"},
    {80009, "FOE file size is too big"},
    {80010, "Update file size is too big"},
    {80011, "Data send timeout"},
    {80012, "Version not match"},
    {80013, "Invalid handle"},
    {80014, "Slave disconnect"},
    {80015, "Slave not ready in operator mode(8)."},
    {80016, "Slave logic address map json format error"},
    {80017, "Invalid parameter"},
    {80018, "ENI file is mismatched"},
    {80019, "Boardcast is not existent"},
    {90000, "pdo watch dog size error"},
    {90001, "pdo watch dog data error"},
    {90002, "pdo watch dog cmd error"},
    {90003, "pdo watch dog malloc error"},
    {90004, "pdo watch dog function error"},
    {90005, "pdo watch dog offset out of range"},
    {90006, "pdo watch dog slave id error"},
    {90007, "pdo watch dog slave buffer size error"},
};

const std::map<uint16_t, const char *> kAlStatusTexts = {
    {0x0000, "Is OK"},
    {0x0001, "ERROR: Unspecified error"},
    {0x0002, "ERROR: No memory"},
    {0x0011, "ERROR: Invalid requested state change"},
    {0x0012, "ERROR: Unknown requested state"},
    {0x0013, "ERROR: Bootstrap not supported"},
    {0x0014, "ERROR: No valid firmware"},
    {0x0015, "ERROR: Invalid mailbox configuration"},
    {0x0016, "ERROR: Invalid mailbox configuration"},
    {0x0017, "ERROR: Invalid sync manager configuration"},
    {0x0018, "ERROR: No valid inputs available"},
    {0x0019, "ERROR: No valid outputs"},
    {0x001A, "ERROR: Synchronization error"},
    {0x001B, "ERROR: Sync manager watchdog"},
    {0x001C, "ERROR: Invalid Sync Manager Types"},
    {0x001D, "ERROR: Invalid Output Configuration"},
    {0x001E, "ERROR: Invalid Input Configuration"},
    {0x001F, "ERROR: Invalid Watchdog Configuration"},
    {0x0020, "ERROR: Slave needs cold start"},
    {0x0021, "ERROR: Slave needs INIT"},
    {0x0022, "ERROR: Slave needs PREOP"},
    {0x0023, "ERROR: Slave needs SAFEOP"},
    {0x0024, "ERROR: Invalid input mapping"},
    {0x0025, "ERROR: Invalid output mapping"},
    {0x0026, "ERROR: Inconsistent settings"},
    {0x0027, "ERROR: Free Run not supported"},
    {0x0028, "ERROR: Synchronization not supported"},
    {0x0029, "ERROR: Free Run needs 3 buffer mode"},
    {0x002A, "ERROR: Background watchdog"},
    {0x002B, "ERROR: No valid inputs and outputs"},
    {0x002C, "ERROR: Fatal Sync error"},
    {0x002D, "ERROR: No Sync error"},
    {0x0030, "ERROR: Invalid DC SYNCH Configuration"},
    {0x0031, "ERROR: Invalid DC Latch Configuration"},
    {0x0032, "ERROR: PLL Error"},
    {0x0033, "ERROR: Invalid DC IO Error"},
    {0x0034, "ERROR: Invalid DC Timeout Error"},
    {0x0035, "ERROR: DC invalid Sync Cycle Time"},
    {0x0036, "ERROR: DC Sync0 Cycle Time"},
    {0x0037, "ERROR: DC Sync1 Cycle Time"},
    {0x0041, "ERROR: MBX_AOE"},
    {0x0042, "ERROR: MBX_EOE"},
    {0x0043, "ERROR: MBX_COE"},
    {0x0044, "ERROR: MBX_FOE"},
    {0x0045, "ERROR: MBX_SOE"},
    {0x004F, "ERROR: MBX_VOE"},
    {0x0050, "ERROR: EEPROM no access"},
    {0x0051, "ERROR: EEPROM error"},
    {0x0060, "ERROR: Slave restarted locally"},
};

TEST(StatusText, EveryCodeHasItsText) {
    for (const auto &[code, text] : kStatusTexts) {
        EXPECT_STREQ(EcatErrorGetErrorMessage(code), text) << code;
    }
}

TEST(StatusText, CodesWithoutRowAreUnknown) {
    for (int32_t code = -10; code <= 100000; ++code) {
        if (!kStatusTexts.contains(code)) {
            ASSERT_STREQ(EcatErrorGetErrorMessage(code), "Unknown") << code;
        }
    }
}

TEST(StatusText, GapsInsideTheRangesAreUnknown) {
    for (int32_t code :
         {11,    255,   527,   529,   543,   545,   32768, 32797, 32804, 32828, 32841,
          32847, 32851, 32854, 32863, 34314, 34335, 34354, 34823, 80020, 90008}) {
        EXPECT_STREQ(EcatErrorGetErrorMessage(code), "Unknown") << code;
    }
}

TEST(StatusText, NegativeAndExtremeCodesAreUnknown) {
    for (int32_t code : {-1, -80003, INT32_MIN, INT32_MAX, 1 << 17, (1 << 17) + 5}) {
        EXPECT_STREQ(EcatErrorGetErrorMessage(code), "Unknown") << code;
    }
}

TEST(StatusText, TooFastIsFarFromTooLate) {
    EXPECT_STREQ(EcatErrorGetErrorMessage(528), "PI access is to late, some bus data can be lost");
    EXPECT_STREQ(EcatErrorGetErrorMessage(544),
                 "PI access is to fast, no bus data change since last access");
}

TEST(StatusText, StaysTheSamePointer) {
    EXPECT_EQ(EcatErrorGetErrorMessage(80003), EcatErrorGetErrorMessage(80003));
}

TEST(DriverStatusText, IsTheSameText) {
    for (const auto &[code, text] : kStatusTexts) {
        EXPECT_EQ(DriverGetErrStr(static_cast<uint32_t>(code)), EcatErrorGetErrorMessage(code));
    }
}

TEST(DriverStatusText, AllOnesIsUnknown) {
    EXPECT_STREQ(DriverGetErrStr(0xFFFFFFFF), "Unknown");
}

TEST(AlStatusText, EveryCodeHasItsText) {
    for (const auto &[code, text] : kAlStatusTexts) {
        EXPECT_STREQ(EcatGetAlStatusCodeMessage(code), text) << code;
    }
}

TEST(AlStatusText, AnyOtherValueIsUnknown) {
    for (uint32_t code = 0; code <= 0xFFFF; ++code) {
        const auto al = static_cast<uint16_t>(code);
        if (!kAlStatusTexts.contains(al)) {
            ASSERT_STREQ(EcatGetAlStatusCodeMessage(al), "unkown status") << code;
        }
    }
}

TEST(AlStatusText, TwoMailboxCodesShareOneText) {
    EXPECT_STREQ(EcatGetAlStatusCodeMessage(21), EcatGetAlStatusCodeMessage(22));
}

TEST(StatusNames, CarryTheirNumbers) {
    EXPECT_EQ(PCI_TARN_OK, 0);
    EXPECT_EQ(PCI_TARN_E_MEMORY, 32769);
    EXPECT_EQ(PCI_TARN_E_INVALID_ARGUMENT, 32770);
    EXPECT_EQ(PCI_TARN_E_GENERAL, 32771);
    EXPECT_EQ(PCI_TARN_E_INVALID_SLAVE, 32778);
    EXPECT_EQ(PCI_TARN_E_DRIVER_NOT_SUPPORTED, 32782);
    EXPECT_EQ(PCI_TARN_E_INVALID_POINTER, 32789);
    EXPECT_EQ(PCI_TARN_E_THREAD, 32816);
    EXPECT_EQ(PCI_TARN_E_NO_PI_REGION, 32834);
    EXPECT_EQ(PCI_TARN_E_OPEN_FILE, 32848);
    EXPECT_EQ(PCI_TARN_E_OUT_OF_PI, 34058);
    EXPECT_EQ(PCI_TARN_E_RESOURCES, 34359);
    EXPECT_EQ(PCI_TARN_E_NAME_TOO_LONG, 80000);
    EXPECT_EQ(PCI_TARN_E_QUEUE_FULL, 80001);
    EXPECT_EQ(PCI_TARN_E_BUFFER_TOO_SMALL, 80002);
    EXPECT_EQ(PCI_TARN_E_TIMEOUT, 80003);
    EXPECT_EQ(PCI_TARN_E_NO_DEVICE, 80004);
    EXPECT_EQ(PCI_TARN_E_CHANNEL, 80005);
    EXPECT_EQ(PCI_TARN_E_NOT_SUPPORTED, 80006);
    EXPECT_EQ(PCI_TARN_E_ENI_TOO_BIG, 80008);
    EXPECT_EQ(PCI_TARN_E_SEND_TIMEOUT, 80011);
    EXPECT_EQ(PCI_TARN_E_VERSION, 80012);
    EXPECT_EQ(PCI_TARN_E_HANDLE, 80013);
    EXPECT_EQ(PCI_TARN_E_SLAVE_NOT_READY, 80015);
    EXPECT_EQ(PCI_TARN_E_MAP_FORMAT, 80016);
    EXPECT_EQ(PCI_TARN_E_ENI_MISMATCH, 80018);
    EXPECT_EQ(PCI_TARN_E_NO_BOARD, 80019);
    EXPECT_EQ(PCI_TARN_E_WATCHDOG_SLAVE_SIZE, 90007);
    EXPECT_EQ(PCI_TARN_AL_RESTARTED_LOCALLY, 0x60);
}

} // namespace
