// Declarations of every function. Made by scripts/bindings.py; do not edit.
using System;
using System.Runtime.InteropServices;

namespace PciTarn
{
    public enum Status : uint
    {
        Ok = 0,
        IMoreCalls = 1,
        INoMoreItems = 2,
        IAlreadySynchronized = 3,
        IWaitForEvents = 4,
        ITimeout = 5,
        IThreadExit = 6,
        INeedsSynchronization = 7,
        IRedundancyState = 8,
        ITryAgain = 9,
        IStateChanged = 10,
        IPiTooLate = 528,
        IPiTooFast = 544,
        EMemory = 32769,
        EInvalidArgument = 32770,
        EGeneral = 32771,
        ENotImplemented = 32772,
        EOpenXml = 32773,
        EXmlContent = 32774,
        ENotConfigured = 32775,
        ENotConnected = 32776,
        EAlreadyConnected = 32777,
        EInvalidSlave = 32778,
        EInvalidTransition = 32779,
        EDriverLoad = 32780,
        EDriverInit = 32781,
        EDriverNotSupported = 32782,
        EDriverNotLoaded = 32783,
        ESendFrame = 32784,
        EReceiveFrame = 32785,
        ETraceOverflow = 32786,
        EIncorrectTransition = 32787,
        ETransition = 32788,
        EInvalidPointer = 32789,
        EInvalidCommand = 32790,
        ETransitionForbidden = 32791,
        ECallTimeout = 32792,
        ECoeAborted = 32793,
        EWorkingCounter = 32794,
        ESlaveState = 32795,
        ESnapshotLoss = 32796,
        ENoAcyclicData = 32805,
        EReservedCommand = 32806,
        EBufferLimit = 32807,
        EBuildTelegram = 32808,
        EBuildFrame = 32809,
        EConfigureState = 32810,
        EConfigureVerification = 32811,
        EReadSlaveStates = 32812,
        ESlaveTransition = 32813,
        EInitCommands = 32814,
        EAlreadyStarted = 32815,
        EThread = 32816,
        EEepromRead = 32817,
        EMailboxNotSupported = 32818,
        ECoeNotSupported = 32819,
        EPiAlreadyUnlocked = 32820,
        EFrameSize = 32821,
        EFrameType = 32822,
        EFrameCommandLength = 32823,
        EFrameInternalData = 32824,
        EEepromWrite = 32825,
        ENotStarted = 32826,
        EArrayBounds = 32827,
        EFrameTimeout = 32829,
        EEepromDenied = 32830,
        EBusy = 32831,
        EInvalidTime = 32832,
        EAborted = 32833,
        ENoPiRegion = 32834,
        EDcSynchronization = 32835,
        EBadContext = 32836,
        ENotPermitted = 32837,
        EIniContent = 32838,
        EBadObject = 32839,
        ESubsystemTransfer = 32840,
        EOpenFile = 32848,
        EWriteFile = 32849,
        EReadFile = 32850,
        EEncode = 32852,
        EDecode = 32853,
        ENoAdapter = 32864,
        EQueueResource = 32880,
        EQueueEmpty = 32881,
        ECoeDataType = 33024,
        ECoeReadOnly = 33025,
        ECoeWriteOnly = 33026,
        ECoeIncompleteEntry = 33027,
        ECoeSdoInfo = 33028,
        EVoeNotSupported = 33104,
        EMasterLocked = 33280,
        ENoRights = 33281,
        ENoUser = 33282,
        ENoMaster = 33283,
        ENoCyclicTask = 33284,
        EAoeHeaderError = 33536,
        EAoeResult = 33537,
        EAoeHeader = 33538,
        EAoeNotSupported = 33539,
        EAoeNoRoute = 33540,
        ESoeNotSupported = 33552,
        ESoeResponse = 33553,
        ESoeHeader = 33554,
        ESoeFragmentLeft = 33555,
        EEoeNotSupported = 33568,
        EFoeNotSupported = 33584,
        EOdNoObject = 33792,
        EOdObjectExists = 33793,
        EOdDescriptionExists = 33794,
        EOdDescription = 33795,
        EOdObjectType = 33796,
        EOdAccessType = 33797,
        EOdDataType = 33798,
        EOdAccessDenied = 33799,
        EOdNotCreated = 33800,
        ECoeService = 33801,
        ESdoHeader = 33802,
        ESdoLength = 33803,
        ESdoSize = 33804,
        EOdNoSubObject = 33805,
        EOdValueAbove = 33806,
        EOdValueBelow = 33807,
        ELibraryInitialized = 34057,
        EOutOfPi = 34058,
        EPiAlreadyMapped = 34059,
        ELibraryNotInitialized = 34060,
        EFrameGeneral = 34305,
        EFrameQueueFull = 34306,
        EFrameSchedulerTransfer = 34307,
        EFramePrepare = 34308,
        EFrameWaitTimeout = 34309,
        EFrameSendTimeout = 34310,
        EFrameSchedulerDestroyed = 34311,
        EFrameCanceled = 34312,
        EFrameTooLong = 34313,
        EMailboxWaiting = 34336,
        EMailboxErrorAnswer = 34337,
        EMailboxNoErrorData = 34338,
        EMailboxFinished = 34339,
        EMailboxGeneral = 34352,
        EMailboxSyntax = 34353,
        EMailboxChannel = 34355,
        EMailboxService = 34356,
        EMailboxHeader = 34357,
        EMailboxTooShort = 34358,
        EResources = 34359,
        EMailboxLength = 34360,
        EModuleInit = 34560,
        ERemoteConnection = 34817,
        ERemoteResponse = 34818,
        ERemoteChannel = 34819,
        ELibraryInit = 34820,
        EEntryEmpty = 34821,
        ESystemCall = 34822,
        ENameTooLong = 80000,
        EQueueFull = 80001,
        EBufferTooSmall = 80002,
        ETimeout = 80003,
        ENoDevice = 80004,
        EChannel = 80005,
        ENotSupported = 80006,
        EFileTooBig = 80007,
        EEniTooBig = 80008,
        EFoeTooBig = 80009,
        EUpdateTooBig = 80010,
        ESendTimeout = 80011,
        EVersion = 80012,
        EHandle = 80013,
        ESlaveDisconnected = 80014,
        ESlaveNotReady = 80015,
        EMapFormat = 80016,
        EInvalidParameter = 80017,
        EEniMismatch = 80018,
        ENoBoard = 80019,
        EWatchdogSize = 90000,
        EWatchdogData = 90001,
        EWatchdogCommand = 90002,
        EWatchdogMemory = 90003,
        EWatchdogFunction = 90004,
        EWatchdogOffset = 90005,
        EWatchdogSlave = 90006,
        EWatchdogSlaveSize = 90007,
    }

    public enum AlStatus : uint
    {
        Ok = 0,
        Unspecified = 1,
        NoMemory = 2,
        InvalidStateChange = 17,
        UnknownState = 18,
        BootNotSupported = 19,
        NoFirmware = 20,
        MailboxConfigBoot = 21,
        MailboxConfigPreop = 22,
        SyncManagerConfig = 23,
        NoInputs = 24,
        NoOutputs = 25,
        Synchronization = 26,
        SyncManagerWatchdog = 27,
        SyncManagerTypes = 28,
        OutputConfig = 29,
        InputConfig = 30,
        WatchdogConfig = 31,
        NeedsColdStart = 32,
        NeedsInit = 33,
        NeedsPreop = 34,
        NeedsSafeop = 35,
        InputMapping = 36,
        OutputMapping = 37,
        InconsistentSettings = 38,
        FreeRunNotSupported = 39,
        SyncNotSupported = 40,
        FreeRun3Buffer = 41,
        BackgroundWatchdog = 42,
        NoInputsAndOutputs = 43,
        FatalSync = 44,
        NoSync = 45,
        DcSyncConfig = 48,
        DcLatchConfig = 49,
        Pll = 50,
        DcIo = 51,
        DcTimeout = 52,
        DcSyncCycleTime = 53,
        DcSync0CycleTime = 54,
        DcSync1CycleTime = 55,
        MbxAoe = 65,
        MbxEoe = 66,
        MbxCoe = 67,
        MbxFoe = 68,
        MbxSoe = 69,
        MbxVoe = 79,
        EepromNoAccess = 80,
        Eeprom = 81,
        RestartedLocally = 96,
    }

    [StructLayout(LayoutKind.Sequential, CharSet = CharSet.Ansi)]
    public struct BoardInfo
    {
        [MarshalAs(UnmanagedType.ByValTStr, SizeConst = 32)] public string model;
        [MarshalAs(UnmanagedType.ByValTStr, SizeConst = 32)] public string firmware_version;
        [MarshalAs(UnmanagedType.ByValTStr, SizeConst = 32)] public string name;
        public uint alias;
        public uint channel_count;
        public uint id;
    }

    [StructLayout(LayoutKind.Sequential, CharSet = CharSet.Ansi)]
    public struct DriverInfo
    {
        [MarshalAs(UnmanagedType.ByValTStr, SizeConst = 32)] public string driver_version;
        [MarshalAs(UnmanagedType.ByValTStr, SizeConst = 32)] public string library_version;
        public uint board_count;
    }

    [StructLayout(LayoutKind.Sequential, CharSet = CharSet.Ansi)]
    public struct SHA1Context
    {
        [MarshalAs(UnmanagedType.ByValArray, SizeConst = 5)] public uint[] intermediate_hash;
        public uint length_low;
        public uint length_high;
        public short message_block_index;
        [MarshalAs(UnmanagedType.ByValArray, SizeConst = 64)] public byte[] message_block;
        public int computed;
        public int corrupted;
    }

    [StructLayout(LayoutKind.Sequential, CharSet = CharSet.Ansi)]
    public struct EniInfo
    {
        public uint word0;
        public uint word1;
        public uint output_length;
        public uint input_length;
    }

    [StructLayout(LayoutKind.Sequential, CharSet = CharSet.Ansi)]
    public struct PiPhyEntry
    {
        public ushort bit_offset;
        public ushort bit_length;
    }

    [StructLayout(LayoutKind.Sequential, CharSet = CharSet.Ansi)]
    public struct PiLogicEntry
    {
        public ushort address;
        public ushort slave;
    }

    [UnmanagedFunctionPointer(CallingConvention.Cdecl)]
    public delegate void PciProgress(IntPtr arg, float fraction);

    [UnmanagedFunctionPointer(CallingConvention.Cdecl)]
    public delegate void EcatCycleCallback(IntPtr arg, IntPtr handle);

    public static class Native
    {
        public const string Library = "pci_tarn";

        public const uint ECAT_DIAGNOSTIC_SIZE_LIMIT = 101376;
        public const uint ECAT_ENI_SIZE_MAX = 20971520;
        public const uint ECAT_FOE_FILE_SIZE_MAX = 26214400;
        public const uint ECAT_FOE_NAME_MAX = 127;
        public const uint ECAT_LINK_DOWN_PORT_STATUS_SIZE = 4;
        public const uint ECAT_MASTER_DIAGNOSTIC_SIZE = 118;
        public const uint ECAT_PI_CARD_AREA = 3;
        public const uint ECAT_PI_DIRECTION_INPUT = 1;
        public const uint ECAT_PI_DIRECTION_OUTPUT = 0;
        public const uint ECAT_PI_FAST_OUTPUT = 2;
        public const uint ECAT_PI_MODE_CYCLE = 1;
        public const uint ECAT_PI_MODE_DIRECT = 0;
        public const uint ECAT_PI_MODE_MANUAL = 2;
        public const uint ECAT_PI_NORMAL_INPUT = 1;
        public const uint ECAT_PI_NORMAL_OUTPUT = 0;
        public const uint ECAT_PI_SHADOW_INPUT = 4;
        public const uint ECAT_SDO_DOWNLOAD_MAX = 256;
        public const uint ECAT_SLAVE_DIAGNOSTIC_DETAIL_SIZE = 16;
        public const uint ECAT_SLAVE_DIAGNOSTIC_SIZE = 40;
        public const uint ECAT_SLAVE_LINK_STATUS_SIZE = 488;
        public const uint ECAT_STATE_BOOT = 3;
        public const uint ECAT_STATE_INIT = 1;
        public const uint ECAT_STATE_OP = 8;
        public const uint ECAT_STATE_PREOP = 2;
        public const uint ECAT_STATE_SAFEOP = 4;
        public const uint PCI_TARN_CHUNK_SIZE = 102384;
        public const uint PCI_TARN_MAX_BOARDS = 16;
        public const uint PCI_TARN_MAX_CHANNELS = 2;
        public const uint PCI_TARN_MAX_SLAVES = 4096;
        public const string PCI_TARN_VERSION = "1.9.1";
        public const uint PCI_TARN_VERSION_MAJOR = 1;
        public const uint PCI_TARN_VERSION_MINOR = 9;
        public const uint PCI_TARN_VERSION_PATCH = 1;

        [DllImport(Library, CallingConvention = CallingConvention.Cdecl, ExactSpelling = true)]
        public static extern IntPtr EcatErrorGetErrorMessage(int code);

        [DllImport(Library, CallingConvention = CallingConvention.Cdecl, ExactSpelling = true)]
        public static extern IntPtr DriverGetErrStr(uint code);

        [DllImport(Library, CallingConvention = CallingConvention.Cdecl, ExactSpelling = true)]
        public static extern IntPtr EcatGetAlStatusCodeMessage(ushort code);

        [DllImport(Library, CallingConvention = CallingConvention.Cdecl, ExactSpelling = true)]
        public static extern ulong get_current_tick(int unit);

        [DllImport(Library, CallingConvention = CallingConvention.Cdecl, ExactSpelling = true)]
        public static extern ulong get_current_tick_seconds(ref long duration_ns);
        [DllImport(Library, CallingConvention = CallingConvention.Cdecl, ExactSpelling = true)]
        public static extern ulong get_current_tick_seconds(IntPtr duration_ns);

        [DllImport(Library, CallingConvention = CallingConvention.Cdecl, ExactSpelling = true)]
        public static extern ulong get_current_tick_milliseconds(ref long duration_ns);
        [DllImport(Library, CallingConvention = CallingConvention.Cdecl, ExactSpelling = true)]
        public static extern ulong get_current_tick_milliseconds(IntPtr duration_ns);

        [DllImport(Library, CallingConvention = CallingConvention.Cdecl, ExactSpelling = true)]
        public static extern ulong get_current_tick_microseconds(ref long duration_ns);
        [DllImport(Library, CallingConvention = CallingConvention.Cdecl, ExactSpelling = true)]
        public static extern ulong get_current_tick_microseconds(IntPtr duration_ns);

        [DllImport(Library, CallingConvention = CallingConvention.Cdecl, ExactSpelling = true)]
        public static extern ulong get_current_tick_nanoseconds(ref long duration_ns);
        [DllImport(Library, CallingConvention = CallingConvention.Cdecl, ExactSpelling = true)]
        public static extern ulong get_current_tick_nanoseconds(IntPtr duration_ns);

        [DllImport(Library, CallingConvention = CallingConvention.Cdecl, ExactSpelling = true)]
        public static extern ulong get_tick_ms();

        [DllImport(Library, CallingConvention = CallingConvention.Cdecl, ExactSpelling = true)]
        public static extern ulong get_tick_us();

        [DllImport(Library, CallingConvention = CallingConvention.Cdecl, ExactSpelling = true)]
        public static extern ulong get_tick_ns();

        [DllImport(Library, CallingConvention = CallingConvention.Cdecl, ExactSpelling = true)]
        public static extern void __usleep_window(uint microseconds);

        [DllImport(Library, CallingConvention = CallingConvention.Cdecl, ExactSpelling = true)]
        public static extern IntPtr ecat_os_sem_create();

        [DllImport(Library, CallingConvention = CallingConvention.Cdecl, ExactSpelling = true)]
        public static extern int ecat_os_sem_post(IntPtr semaphore);

        [DllImport(Library, CallingConvention = CallingConvention.Cdecl, ExactSpelling = true)]
        public static extern int ecat_os_sem_time_wait(IntPtr semaphore, ulong timeout_ms);

        [DllImport(Library, CallingConvention = CallingConvention.Cdecl, ExactSpelling = true)]
        public static extern void ecat_os_sem_destroy(IntPtr semaphore);

        [DllImport(Library, CallingConvention = CallingConvention.Cdecl, ExactSpelling = true)]
        public static extern IntPtr ecat_os_thread_create([In, Out] byte[] arg, IntPtr entry, uint priority);
        [DllImport(Library, CallingConvention = CallingConvention.Cdecl, ExactSpelling = true)]
        public static extern IntPtr ecat_os_thread_create(IntPtr arg, IntPtr entry, uint priority);

        [DllImport(Library, CallingConvention = CallingConvention.Cdecl, ExactSpelling = true)]
        public static extern void ecat_os_thread_join(IntPtr thread);

        [DllImport(Library, CallingConvention = CallingConvention.Cdecl, ExactSpelling = true)]
        public static extern uint driverLock([In, Out] byte[] @lock);
        [DllImport(Library, CallingConvention = CallingConvention.Cdecl, ExactSpelling = true)]
        public static extern uint driverLock(IntPtr @lock);

        [DllImport(Library, CallingConvention = CallingConvention.Cdecl, ExactSpelling = true)]
        public static extern uint driverUnlock([In, Out] byte[] @lock);
        [DllImport(Library, CallingConvention = CallingConvention.Cdecl, ExactSpelling = true)]
        public static extern uint driverUnlock(IntPtr @lock);

        [DllImport(Library, CallingConvention = CallingConvention.Cdecl, ExactSpelling = true)]
        public static extern int SHA1Init(ref SHA1Context context);
        [DllImport(Library, CallingConvention = CallingConvention.Cdecl, ExactSpelling = true)]
        public static extern int SHA1Init(IntPtr context);

        [DllImport(Library, CallingConvention = CallingConvention.Cdecl, ExactSpelling = true)]
        public static extern int SHA1Update(ref SHA1Context context, byte[] data, uint length);
        [DllImport(Library, CallingConvention = CallingConvention.Cdecl, ExactSpelling = true)]
        public static extern int SHA1Update(IntPtr context, IntPtr data, uint length);

        [DllImport(Library, CallingConvention = CallingConvention.Cdecl, ExactSpelling = true)]
        public static extern int SHA1Final([In, Out] byte[] digest, ref SHA1Context context);
        [DllImport(Library, CallingConvention = CallingConvention.Cdecl, ExactSpelling = true)]
        public static extern int SHA1Final(IntPtr digest, IntPtr context);

        [DllImport(Library, CallingConvention = CallingConvention.Cdecl, ExactSpelling = true)]
        public static extern IntPtr memcpy_fast([In, Out] byte[] destination, byte[] source, ulong count);
        [DllImport(Library, CallingConvention = CallingConvention.Cdecl, ExactSpelling = true)]
        public static extern IntPtr memcpy_fast(IntPtr destination, IntPtr source, ulong count);

        [DllImport(Library, CallingConvention = CallingConvention.Cdecl, ExactSpelling = true)]
        public static extern IntPtr DriverFastMemcpy([In, Out] byte[] destination, byte[] source, ulong count);
        [DllImport(Library, CallingConvention = CallingConvention.Cdecl, ExactSpelling = true)]
        public static extern IntPtr DriverFastMemcpy(IntPtr destination, IntPtr source, ulong count);

        [DllImport(Library, CallingConvention = CallingConvention.Cdecl, ExactSpelling = true)]
        public static extern IntPtr initMutex();

        [DllImport(Library, CallingConvention = CallingConvention.Cdecl, ExactSpelling = true)]
        public static extern void pi_shared_memory_init();

        [DllImport(Library, CallingConvention = CallingConvention.Cdecl, ExactSpelling = true)]
        public static extern IntPtr getSharedMemory_piinfo(uint board, uint channel);

        [DllImport(Library, CallingConvention = CallingConvention.Cdecl, ExactSpelling = true)]
        public static extern IntPtr getSharedMemory_pishadowinput(uint board, uint channel);

        [DllImport(Library, CallingConvention = CallingConvention.Cdecl, ExactSpelling = true)]
        public static extern IntPtr getSharedMemory_pifast(uint board, uint channel);

        [DllImport(Library, CallingConvention = CallingConvention.Cdecl, ExactSpelling = true)]
        public static extern IntPtr getSharedMemory_piNormalBuffOutput(uint board, uint channel);

        [DllImport(Library, CallingConvention = CallingConvention.Cdecl, ExactSpelling = true)]
        public static extern IntPtr getSharedMemory_piNormalBuffInput(uint board, uint channel);

        [DllImport(Library, CallingConvention = CallingConvention.Cdecl, ExactSpelling = true)]
        public static extern IntPtr getSharedMemory_piNormalCacheOutput(uint board, uint channel);

        [DllImport(Library, CallingConvention = CallingConvention.Cdecl, ExactSpelling = true)]
        public static extern IntPtr getSharedMemory_piNormalCacheInput(uint board, uint channel);

        [DllImport(Library, CallingConvention = CallingConvention.Cdecl, ExactSpelling = true)]
        public static extern IntPtr getMutex_mailbox(uint board, uint channel, uint index);

        [DllImport(Library, CallingConvention = CallingConvention.Cdecl, ExactSpelling = true)]
        public static extern IntPtr getMutex_sock(uint board, uint channel, uint index);

        [DllImport(Library, CallingConvention = CallingConvention.Cdecl, ExactSpelling = true)]
        public static extern IntPtr getMutex_pi(uint board, uint channel, uint index);

        [DllImport(Library, CallingConvention = CallingConvention.Cdecl, ExactSpelling = true)]
        public static extern IntPtr getMutexDes();

        [DllImport(Library, CallingConvention = CallingConvention.Cdecl, ExactSpelling = true)]
        public static extern IntPtr EtherCATOpen(uint index);

        [DllImport(Library, CallingConvention = CallingConvention.Cdecl, ExactSpelling = true)]
        public static extern void EtherCATClose(IntPtr card);

        [DllImport(Library, CallingConvention = CallingConvention.Cdecl, ExactSpelling = true)]
        public static extern uint EtherCATGetCount();

        [DllImport(Library, CallingConvention = CallingConvention.Cdecl, ExactSpelling = true)]
        public static extern ulong EtherCATGetDriverVersion();

        [DllImport(Library, CallingConvention = CallingConvention.Cdecl, ExactSpelling = true)]
        [return: MarshalAs(UnmanagedType.I1)] public static extern bool EtherCATVerifyDriverVersion();

        [DllImport(Library, CallingConvention = CallingConvention.Cdecl, ExactSpelling = true)]
        public static extern IntPtr EtherCATMapBarAddress(IntPtr card, uint bar);

        [DllImport(Library, CallingConvention = CallingConvention.Cdecl, ExactSpelling = true)]
        public static extern void EtherCATUnmapBarAddress(IntPtr card, [In, Out] byte[] address);
        [DllImport(Library, CallingConvention = CallingConvention.Cdecl, ExactSpelling = true)]
        public static extern void EtherCATUnmapBarAddress(IntPtr card, IntPtr address);

        [DllImport(Library, CallingConvention = CallingConvention.Cdecl, ExactSpelling = true)]
        public static extern uint EtherCATWaitForInterrupt(IntPtr card, uint interrupt, uint timeout_ms);

        [DllImport(Library, CallingConvention = CallingConvention.Cdecl, ExactSpelling = true)]
        public static extern uint EtherCATDmaRead(IntPtr card, uint card_address, [In, Out] byte[] buffer, uint length, uint timeout_ms);
        [DllImport(Library, CallingConvention = CallingConvention.Cdecl, ExactSpelling = true)]
        public static extern uint EtherCATDmaRead(IntPtr card, uint card_address, IntPtr buffer, uint length, uint timeout_ms);

        [DllImport(Library, CallingConvention = CallingConvention.Cdecl, ExactSpelling = true)]
        public static extern uint EtherCATDmaWrite(IntPtr card, uint card_address, [In, Out] byte[] buffer, uint length, uint timeout_ms);
        [DllImport(Library, CallingConvention = CallingConvention.Cdecl, ExactSpelling = true)]
        public static extern uint EtherCATDmaWrite(IntPtr card, uint card_address, IntPtr buffer, uint length, uint timeout_ms);

        [DllImport(Library, CallingConvention = CallingConvention.Cdecl, ExactSpelling = true)]
        public static extern uint EtherCATRead(IntPtr card, uint first, uint second, [In, Out] byte[] buffer, uint length);
        [DllImport(Library, CallingConvention = CallingConvention.Cdecl, ExactSpelling = true)]
        public static extern uint EtherCATRead(IntPtr card, uint first, uint second, IntPtr buffer, uint length);

        [DllImport(Library, CallingConvention = CallingConvention.Cdecl, ExactSpelling = true)]
        public static extern uint EtherCATWrite(IntPtr card, uint first, uint second, [In, Out] byte[] buffer, uint length);
        [DllImport(Library, CallingConvention = CallingConvention.Cdecl, ExactSpelling = true)]
        public static extern uint EtherCATWrite(IntPtr card, uint first, uint second, IntPtr buffer, uint length);

        [DllImport(Library, CallingConvention = CallingConvention.Cdecl, ExactSpelling = true)]
        public static extern uint GetBoardCount(ref uint count);
        [DllImport(Library, CallingConvention = CallingConvention.Cdecl, ExactSpelling = true)]
        public static extern uint GetBoardCount(IntPtr count);

        [DllImport(Library, CallingConvention = CallingConvention.Cdecl, ExactSpelling = true)]
        public static extern uint InitBoardHandleNode();

        [DllImport(Library, CallingConvention = CallingConvention.Cdecl, ExactSpelling = true)]
        public static extern uint InitBoardNodeDataByIndex(uint index, IntPtr node);

        [DllImport(Library, CallingConvention = CallingConvention.Cdecl, ExactSpelling = true)]
        public static extern uint initDevice();

        [DllImport(Library, CallingConvention = CallingConvention.Cdecl, ExactSpelling = true)]
        public static extern uint getBoardHandle([MarshalAs(UnmanagedType.LPStr)] string name, [In, Out] byte[] node);
        [DllImport(Library, CallingConvention = CallingConvention.Cdecl, ExactSpelling = true)]
        public static extern uint getBoardHandle([MarshalAs(UnmanagedType.LPStr)] string name, IntPtr node);

        [DllImport(Library, CallingConvention = CallingConvention.Cdecl, ExactSpelling = true)]
        public static extern uint getBoardInfoByBoardHandle(byte[] node, ref BoardInfo info);
        [DllImport(Library, CallingConvention = CallingConvention.Cdecl, ExactSpelling = true)]
        public static extern uint getBoardInfoByBoardHandle(IntPtr node, IntPtr info);

        [DllImport(Library, CallingConvention = CallingConvention.Cdecl, ExactSpelling = true)]
        public static extern uint getBoardInfoByIndex(uint index, ref BoardInfo info);
        [DllImport(Library, CallingConvention = CallingConvention.Cdecl, ExactSpelling = true)]
        public static extern uint getBoardInfoByIndex(uint index, IntPtr info);

        [DllImport(Library, CallingConvention = CallingConvention.Cdecl, ExactSpelling = true)]
        public static extern uint getBoardAliasByBoardHandle(byte[] node);
        [DllImport(Library, CallingConvention = CallingConvention.Cdecl, ExactSpelling = true)]
        public static extern uint getBoardAliasByBoardHandle(IntPtr node);

        [DllImport(Library, CallingConvention = CallingConvention.Cdecl, ExactSpelling = true)]
        public static extern IntPtr getBarPtr(byte[] node, int bar);
        [DllImport(Library, CallingConvention = CallingConvention.Cdecl, ExactSpelling = true)]
        public static extern IntPtr getBarPtr(IntPtr node, int bar);

        [DllImport(Library, CallingConvention = CallingConvention.Cdecl, ExactSpelling = true)]
        public static extern uint releaBarPtr([MarshalAs(UnmanagedType.LPStr)] string name, int bar);

        [DllImport(Library, CallingConvention = CallingConvention.Cdecl, ExactSpelling = true)]
        public static extern void closeDevice();

        [DllImport(Library, CallingConvention = CallingConvention.Cdecl, ExactSpelling = true)]
        public static extern uint waitInterrupt(byte[] node, byte interrupt, uint timeout_ms);
        [DllImport(Library, CallingConvention = CallingConvention.Cdecl, ExactSpelling = true)]
        public static extern uint waitInterrupt(IntPtr node, byte interrupt, uint timeout_ms);

        [DllImport(Library, CallingConvention = CallingConvention.Cdecl, ExactSpelling = true)]
        public static extern uint getDriverInfo(ref DriverInfo info);
        [DllImport(Library, CallingConvention = CallingConvention.Cdecl, ExactSpelling = true)]
        public static extern uint getDriverInfo(IntPtr info);

        [DllImport(Library, CallingConvention = CallingConvention.Cdecl, ExactSpelling = true)]
        public static extern uint DriverEnumBoard(uint index, ref BoardInfo info);
        [DllImport(Library, CallingConvention = CallingConvention.Cdecl, ExactSpelling = true)]
        public static extern uint DriverEnumBoard(uint index, IntPtr info);

        [DllImport(Library, CallingConvention = CallingConvention.Cdecl, ExactSpelling = true)]
        public static extern uint DriverEnumEcat(uint index, uint channel, ref uint @out);
        [DllImport(Library, CallingConvention = CallingConvention.Cdecl, ExactSpelling = true)]
        public static extern uint DriverEnumEcat(uint index, uint channel, IntPtr @out);

        [DllImport(Library, CallingConvention = CallingConvention.Cdecl, ExactSpelling = true)]
        public static extern uint DriverGetInfo(ref DriverInfo info);
        [DllImport(Library, CallingConvention = CallingConvention.Cdecl, ExactSpelling = true)]
        public static extern uint DriverGetInfo(IntPtr info);

        [DllImport(Library, CallingConvention = CallingConvention.Cdecl, ExactSpelling = true)]
        public static extern uint BoardOpen(out IntPtr @out, [MarshalAs(UnmanagedType.LPStr)] string name);
        [DllImport(Library, CallingConvention = CallingConvention.Cdecl, ExactSpelling = true)]
        public static extern uint BoardOpen(IntPtr @out, [MarshalAs(UnmanagedType.LPStr)] string name);

        [DllImport(Library, CallingConvention = CallingConvention.Cdecl, ExactSpelling = true)]
        public static extern uint BoardClose(IntPtr handle);

        [DllImport(Library, CallingConvention = CallingConvention.Cdecl, ExactSpelling = true)]
        public static extern uint BoardCheckVersion(IntPtr handle, byte print);

        [DllImport(Library, CallingConvention = CallingConvention.Cdecl, ExactSpelling = true)]
        public static extern uint BoardGetStructVersion(IntPtr handle);

        [DllImport(Library, CallingConvention = CallingConvention.Cdecl, ExactSpelling = true)]
        public static extern uint BoardGetInfo(IntPtr handle, ref BoardInfo info);
        [DllImport(Library, CallingConvention = CallingConvention.Cdecl, ExactSpelling = true)]
        public static extern uint BoardGetInfo(IntPtr handle, IntPtr info);

        [DllImport(Library, CallingConvention = CallingConvention.Cdecl, ExactSpelling = true)]
        public static extern uint BoardGetInfo_Alias(IntPtr handle, ref uint alias);
        [DllImport(Library, CallingConvention = CallingConvention.Cdecl, ExactSpelling = true)]
        public static extern uint BoardGetInfo_Alias(IntPtr handle, IntPtr alias);

        [DllImport(Library, CallingConvention = CallingConvention.Cdecl, ExactSpelling = true)]
        public static extern uint __BoardIOModuleReset(IntPtr handle);

        [DllImport(Library, CallingConvention = CallingConvention.Cdecl, ExactSpelling = true)]
        public static extern uint BoardSetTimeout(IntPtr handle, uint timeout_ms);

        [DllImport(Library, CallingConvention = CallingConvention.Cdecl, ExactSpelling = true)]
        public static extern uint BoardDIRead(IntPtr handle, ref uint @value);
        [DllImport(Library, CallingConvention = CallingConvention.Cdecl, ExactSpelling = true)]
        public static extern uint BoardDIRead(IntPtr handle, IntPtr @value);

        [DllImport(Library, CallingConvention = CallingConvention.Cdecl, ExactSpelling = true)]
        public static extern uint BoardDORead(IntPtr handle, ref uint @value);
        [DllImport(Library, CallingConvention = CallingConvention.Cdecl, ExactSpelling = true)]
        public static extern uint BoardDORead(IntPtr handle, IntPtr @value);

        [DllImport(Library, CallingConvention = CallingConvention.Cdecl, ExactSpelling = true)]
        public static extern uint BoardDOWrite(IntPtr handle, uint @value);

        [DllImport(Library, CallingConvention = CallingConvention.Cdecl, ExactSpelling = true)]
        public static extern uint BoardLatchEnable(IntPtr handle);

        [DllImport(Library, CallingConvention = CallingConvention.Cdecl, ExactSpelling = true)]
        public static extern uint BoardLatchDisable(IntPtr handle);

        [DllImport(Library, CallingConvention = CallingConvention.Cdecl, ExactSpelling = true)]
        public static extern uint BoardLatchCfg(IntPtr handle, uint mode);

        [DllImport(Library, CallingConvention = CallingConvention.Cdecl, ExactSpelling = true)]
        public static extern uint BoardLatchRun(IntPtr handle);

        [DllImport(Library, CallingConvention = CallingConvention.Cdecl, ExactSpelling = true)]
        public static extern uint BoardLatchStop(IntPtr handle);

        [DllImport(Library, CallingConvention = CallingConvention.Cdecl, ExactSpelling = true)]
        public static extern uint BoardLatchClear(IntPtr handle);

        [DllImport(Library, CallingConvention = CallingConvention.Cdecl, ExactSpelling = true)]
        public static extern uint BoardLatchCounterReset(IntPtr handle);

        [DllImport(Library, CallingConvention = CallingConvention.Cdecl, ExactSpelling = true)]
        public static extern uint BoardLatchPortSel(IntPtr handle, uint port);

        [DllImport(Library, CallingConvention = CallingConvention.Cdecl, ExactSpelling = true)]
        public static extern uint BoardLatchState(IntPtr handle, uint channel, ref uint latched);
        [DllImport(Library, CallingConvention = CallingConvention.Cdecl, ExactSpelling = true)]
        public static extern uint BoardLatchState(IntPtr handle, uint channel, IntPtr latched);

        [DllImport(Library, CallingConvention = CallingConvention.Cdecl, ExactSpelling = true)]
        public static extern uint BoardLatchOnRead(IntPtr handle, uint channel, ref uint low, ref uint high);
        [DllImport(Library, CallingConvention = CallingConvention.Cdecl, ExactSpelling = true)]
        public static extern uint BoardLatchOnRead(IntPtr handle, uint channel, IntPtr low, IntPtr high);

        [DllImport(Library, CallingConvention = CallingConvention.Cdecl, ExactSpelling = true)]
        public static extern uint BoardSeqLatchCfg(IntPtr handle, int mode);

        [DllImport(Library, CallingConvention = CallingConvention.Cdecl, ExactSpelling = true)]
        public static extern uint BoardSeqLatchRun(IntPtr handle, uint count);

        [DllImport(Library, CallingConvention = CallingConvention.Cdecl, ExactSpelling = true)]
        public static extern uint BoardSeqLatchOnRead(IntPtr handle, uint channel, uint index, ref uint low, ref uint high);
        [DllImport(Library, CallingConvention = CallingConvention.Cdecl, ExactSpelling = true)]
        public static extern uint BoardSeqLatchOnRead(IntPtr handle, uint channel, uint index, IntPtr low, IntPtr high);

        [DllImport(Library, CallingConvention = CallingConvention.Cdecl, ExactSpelling = true)]
        public static extern uint BoardPWMOutput(IntPtr handle, uint channel, uint frequency_hz, int duty_percent);

        [DllImport(Library, CallingConvention = CallingConvention.Cdecl, ExactSpelling = true)]
        public static extern uint BoardPWMStop(IntPtr handle, uint channel);

        [DllImport(Library, CallingConvention = CallingConvention.Cdecl, ExactSpelling = true)]
        public static extern uint BoardPWMGetConfig(IntPtr handle, uint channel, ref uint frequency_hz, ref uint duty_percent);
        [DllImport(Library, CallingConvention = CallingConvention.Cdecl, ExactSpelling = true)]
        public static extern uint BoardPWMGetConfig(IntPtr handle, uint channel, IntPtr frequency_hz, IntPtr duty_percent);

        [DllImport(Library, CallingConvention = CallingConvention.Cdecl, ExactSpelling = true)]
        public static extern uint BoardPulseConfig(IntPtr handle, uint channel, uint first, int flag, uint second, uint frequency_hz, uint duty_percent);

        [DllImport(Library, CallingConvention = CallingConvention.Cdecl, ExactSpelling = true)]
        public static extern uint BoardPulseGetConfig(IntPtr handle, uint channel, ref uint first, ref int flag, ref uint second, ref uint frequency_hz, ref uint duty_percent);
        [DllImport(Library, CallingConvention = CallingConvention.Cdecl, ExactSpelling = true)]
        public static extern uint BoardPulseGetConfig(IntPtr handle, uint channel, IntPtr first, IntPtr flag, IntPtr second, IntPtr frequency_hz, IntPtr duty_percent);

        [DllImport(Library, CallingConvention = CallingConvention.Cdecl, ExactSpelling = true)]
        public static extern uint BoardPulseOutput(IntPtr handle, uint channel, uint count);

        [DllImport(Library, CallingConvention = CallingConvention.Cdecl, ExactSpelling = true)]
        public static extern uint BoardPulseStop(IntPtr handle, uint channel);

        [DllImport(Library, CallingConvention = CallingConvention.Cdecl, ExactSpelling = true)]
        public static extern uint BoardBAR1Read(IntPtr handle, uint offset, ref uint @value);
        [DllImport(Library, CallingConvention = CallingConvention.Cdecl, ExactSpelling = true)]
        public static extern uint BoardBAR1Read(IntPtr handle, uint offset, IntPtr @value);

        [DllImport(Library, CallingConvention = CallingConvention.Cdecl, ExactSpelling = true)]
        public static extern uint BoardBAR1Write(IntPtr handle, uint offset, uint @value);

        [DllImport(Library, CallingConvention = CallingConvention.Cdecl, ExactSpelling = true)]
        public static extern uint BoardHeardCnt(IntPtr handle, uint counter, ref uint @value);
        [DllImport(Library, CallingConvention = CallingConvention.Cdecl, ExactSpelling = true)]
        public static extern uint BoardHeardCnt(IntPtr handle, uint counter, IntPtr @value);

        [DllImport(Library, CallingConvention = CallingConvention.Cdecl, ExactSpelling = true)]
        [return: MarshalAs(UnmanagedType.I1)] public static extern bool BoardIsAlive(IntPtr handle);

        [DllImport(Library, CallingConvention = CallingConvention.Cdecl, ExactSpelling = true)]
        public static extern uint BoardSetDeviceSystemTime(IntPtr handle, long utc_time);

        [DllImport(Library, CallingConvention = CallingConvention.Cdecl, ExactSpelling = true)]
        public static extern uint Bar2SetDeviceSystemTime([In, Out] byte[] bar2, long utc_time);
        [DllImport(Library, CallingConvention = CallingConvention.Cdecl, ExactSpelling = true)]
        public static extern uint Bar2SetDeviceSystemTime(IntPtr bar2, long utc_time);

        [DllImport(Library, CallingConvention = CallingConvention.Cdecl, ExactSpelling = true)]
        public static extern uint BoardLedCtrl(IntPtr handle, ushort first, ushort second);

        [DllImport(Library, CallingConvention = CallingConvention.Cdecl, ExactSpelling = true)]
        public static extern uint BOARD_TIMEOUT_TRIGGER(IntPtr handle, int flag);

        [DllImport(Library, CallingConvention = CallingConvention.Cdecl, ExactSpelling = true)]
        public static extern uint BoardReset(IntPtr handle);

        [DllImport(Library, CallingConvention = CallingConvention.Cdecl, ExactSpelling = true)]
        public static extern uint BoardCDMAIsEnable(IntPtr handle);

        [DllImport(Library, CallingConvention = CallingConvention.Cdecl, ExactSpelling = true)]
        public static extern uint CDMA_IsEnable();

        [DllImport(Library, CallingConvention = CallingConvention.Cdecl, ExactSpelling = true)]
        public static extern uint CDMA_ReadDataFromDevice(IntPtr card, uint card_address, [In, Out] byte[] buffer, int length, uint timeout_ms);
        [DllImport(Library, CallingConvention = CallingConvention.Cdecl, ExactSpelling = true)]
        public static extern uint CDMA_ReadDataFromDevice(IntPtr card, uint card_address, IntPtr buffer, int length, uint timeout_ms);

        [DllImport(Library, CallingConvention = CallingConvention.Cdecl, ExactSpelling = true)]
        public static extern uint CDMA_WriteDataToDevice(IntPtr card, uint card_address, [In, Out] byte[] buffer, int length, uint timeout_ms);
        [DllImport(Library, CallingConvention = CallingConvention.Cdecl, ExactSpelling = true)]
        public static extern uint CDMA_WriteDataToDevice(IntPtr card, uint card_address, IntPtr buffer, int length, uint timeout_ms);

        [DllImport(Library, CallingConvention = CallingConvention.Cdecl, ExactSpelling = true)]
        public static extern uint BoardFlashErase(IntPtr handle, uint address, uint length);

        [DllImport(Library, CallingConvention = CallingConvention.Cdecl, ExactSpelling = true)]
        public static extern uint BoardFlashRead(IntPtr handle, uint address, uint length, [In, Out] byte[] buffer);
        [DllImport(Library, CallingConvention = CallingConvention.Cdecl, ExactSpelling = true)]
        public static extern uint BoardFlashRead(IntPtr handle, uint address, uint length, IntPtr buffer);

        [DllImport(Library, CallingConvention = CallingConvention.Cdecl, ExactSpelling = true)]
        public static extern uint BoardFlashWrite(IntPtr handle, uint address, [MarshalAs(UnmanagedType.LPStr)] string data);

        [DllImport(Library, CallingConvention = CallingConvention.Cdecl, ExactSpelling = true)]
        public static extern uint BoardFileDownload(IntPtr handle, [MarshalAs(UnmanagedType.LPStr)] string local_path, [MarshalAs(UnmanagedType.LPStr)] string remote_name, PciProgress progress, [In, Out] byte[] progress_arg);
        [DllImport(Library, CallingConvention = CallingConvention.Cdecl, ExactSpelling = true)]
        public static extern uint BoardFileDownload(IntPtr handle, [MarshalAs(UnmanagedType.LPStr)] string local_path, [MarshalAs(UnmanagedType.LPStr)] string remote_name, PciProgress progress, IntPtr progress_arg);

        [DllImport(Library, CallingConvention = CallingConvention.Cdecl, ExactSpelling = true)]
        public static extern uint BoardFileUpload(IntPtr handle, [MarshalAs(UnmanagedType.LPStr)] string local_path, [MarshalAs(UnmanagedType.LPStr)] string remote_name, PciProgress progress, [In, Out] byte[] progress_arg);
        [DllImport(Library, CallingConvention = CallingConvention.Cdecl, ExactSpelling = true)]
        public static extern uint BoardFileUpload(IntPtr handle, [MarshalAs(UnmanagedType.LPStr)] string local_path, [MarshalAs(UnmanagedType.LPStr)] string remote_name, PciProgress progress, IntPtr progress_arg);

        [DllImport(Library, CallingConvention = CallingConvention.Cdecl, ExactSpelling = true)]
        public static extern uint BoardUpdate(IntPtr handle, [MarshalAs(UnmanagedType.LPStr)] string local_path);

        [DllImport(Library, CallingConvention = CallingConvention.Cdecl, ExactSpelling = true)]
        public static extern uint BoardUpdateEx(IntPtr handle, [MarshalAs(UnmanagedType.LPStr)] string local_path, PciProgress progress, [In, Out] byte[] progress_arg);
        [DllImport(Library, CallingConvention = CallingConvention.Cdecl, ExactSpelling = true)]
        public static extern uint BoardUpdateEx(IntPtr handle, [MarshalAs(UnmanagedType.LPStr)] string local_path, PciProgress progress, IntPtr progress_arg);

        [DllImport(Library, CallingConvention = CallingConvention.Cdecl, ExactSpelling = true)]
        public static extern void BoardUpdateUnlimitSize();

        [DllImport(Library, CallingConvention = CallingConvention.Cdecl, ExactSpelling = true)]
        public static extern int mailbox_init(IntPtr channel, [In, Out] byte[] @lock, [In, Out] byte[] device, IntPtr @out, IntPtr @in, ref uint doorbell, uint interrupt);
        [DllImport(Library, CallingConvention = CallingConvention.Cdecl, ExactSpelling = true)]
        public static extern int mailbox_init(IntPtr channel, IntPtr @lock, IntPtr device, IntPtr @out, IntPtr @in, IntPtr doorbell, uint interrupt);

        [DllImport(Library, CallingConvention = CallingConvention.Cdecl, ExactSpelling = true)]
        public static extern int mailbox_sock_init(IntPtr channel, [In, Out] byte[] @lock, [In, Out] byte[] second_lock, [In, Out] byte[] device, IntPtr @out, IntPtr @in, ref uint doorbell, uint interrupt);
        [DllImport(Library, CallingConvention = CallingConvention.Cdecl, ExactSpelling = true)]
        public static extern int mailbox_sock_init(IntPtr channel, IntPtr @lock, IntPtr second_lock, IntPtr device, IntPtr @out, IntPtr @in, IntPtr doorbell, uint interrupt);

        [DllImport(Library, CallingConvention = CallingConvention.Cdecl, ExactSpelling = true)]
        public static extern int mailbox_queue_push(IntPtr ring, byte[] data, uint length);
        [DllImport(Library, CallingConvention = CallingConvention.Cdecl, ExactSpelling = true)]
        public static extern int mailbox_queue_push(IntPtr ring, IntPtr data, uint length);

        [DllImport(Library, CallingConvention = CallingConvention.Cdecl, ExactSpelling = true)]
        public static extern int mailbox_queue_pop(IntPtr ring, [In, Out] byte[] @out);
        [DllImport(Library, CallingConvention = CallingConvention.Cdecl, ExactSpelling = true)]
        public static extern int mailbox_queue_pop(IntPtr ring, IntPtr @out);

        [DllImport(Library, CallingConvention = CallingConvention.Cdecl, ExactSpelling = true)]
        public static extern int show_fifo_size(IntPtr handle);

        [DllImport(Library, CallingConvention = CallingConvention.Cdecl, ExactSpelling = true)]
        public static extern uint pcie_pkt_send(IntPtr handle, ushort code, byte[] data, uint length, [In, Out] byte[] reply, ref uint reply_length);
        [DllImport(Library, CallingConvention = CallingConvention.Cdecl, ExactSpelling = true)]
        public static extern uint pcie_pkt_send(IntPtr handle, ushort code, IntPtr data, uint length, IntPtr reply, IntPtr reply_length);

        [DllImport(Library, CallingConvention = CallingConvention.Cdecl, ExactSpelling = true)]
        public static extern uint EcatRunCommand(IntPtr handle, byte[] data, uint length, [In, Out] byte[] reply, ref uint reply_length);
        [DllImport(Library, CallingConvention = CallingConvention.Cdecl, ExactSpelling = true)]
        public static extern uint EcatRunCommand(IntPtr handle, IntPtr data, uint length, IntPtr reply, IntPtr reply_length);

        [DllImport(Library, CallingConvention = CallingConvention.Cdecl, ExactSpelling = true)]
        public static extern uint _EcatSockClientPostData(IntPtr handle, uint type, uint parameter, byte[] data, uint length);
        [DllImport(Library, CallingConvention = CallingConvention.Cdecl, ExactSpelling = true)]
        public static extern uint _EcatSockClientPostData(IntPtr handle, uint type, uint parameter, IntPtr data, uint length);

        [DllImport(Library, CallingConvention = CallingConvention.Cdecl, ExactSpelling = true)]
        public static extern uint _EcatSockClientGetData(IntPtr handle, ref uint type, [In, Out] byte[] buffer, ref uint length);
        [DllImport(Library, CallingConvention = CallingConvention.Cdecl, ExactSpelling = true)]
        public static extern uint _EcatSockClientGetData(IntPtr handle, IntPtr type, IntPtr buffer, IntPtr length);

        [DllImport(Library, CallingConvention = CallingConvention.Cdecl, ExactSpelling = true)]
        public static extern uint EcatOpen(out IntPtr @out, [MarshalAs(UnmanagedType.LPStr)] string name, uint channel);
        [DllImport(Library, CallingConvention = CallingConvention.Cdecl, ExactSpelling = true)]
        public static extern uint EcatOpen(IntPtr @out, [MarshalAs(UnmanagedType.LPStr)] string name, uint channel);

        [DllImport(Library, CallingConvention = CallingConvention.Cdecl, ExactSpelling = true)]
        public static extern uint EcatOpenEx(out IntPtr @out, [MarshalAs(UnmanagedType.LPStr)] string name, uint channel, int check_skip);
        [DllImport(Library, CallingConvention = CallingConvention.Cdecl, ExactSpelling = true)]
        public static extern uint EcatOpenEx(IntPtr @out, [MarshalAs(UnmanagedType.LPStr)] string name, uint channel, int check_skip);

        [DllImport(Library, CallingConvention = CallingConvention.Cdecl, ExactSpelling = true)]
        public static extern uint EcatClose(IntPtr handle);

        [DllImport(Library, CallingConvention = CallingConvention.Cdecl, ExactSpelling = true)]
        public static extern uint __EcatClose(IntPtr handle);

        [DllImport(Library, CallingConvention = CallingConvention.Cdecl, ExactSpelling = true)]
        public static extern uint EcatCheckPdoVersionMatch(IntPtr handle);

        [DllImport(Library, CallingConvention = CallingConvention.Cdecl, ExactSpelling = true)]
        public static extern uint EcatGetBoardHandle(IntPtr handle, out IntPtr board);
        [DllImport(Library, CallingConvention = CallingConvention.Cdecl, ExactSpelling = true)]
        public static extern uint EcatGetBoardHandle(IntPtr handle, IntPtr board);

        [DllImport(Library, CallingConvention = CallingConvention.Cdecl, ExactSpelling = true)]
        public static extern uint EcatGetCurrentChannel(IntPtr handle, ref uint channel);
        [DllImport(Library, CallingConvention = CallingConvention.Cdecl, ExactSpelling = true)]
        public static extern uint EcatGetCurrentChannel(IntPtr handle, IntPtr channel);

        [DllImport(Library, CallingConvention = CallingConvention.Cdecl, ExactSpelling = true)]
        public static extern uint EcatGetInfo(IntPtr handle, ref BoardInfo info);
        [DllImport(Library, CallingConvention = CallingConvention.Cdecl, ExactSpelling = true)]
        public static extern uint EcatGetInfo(IntPtr handle, IntPtr info);

        [DllImport(Library, CallingConvention = CallingConvention.Cdecl, ExactSpelling = true)]
        public static extern IntPtr __EcatGetConfigPtr(IntPtr handle);

        [DllImport(Library, CallingConvention = CallingConvention.Cdecl, ExactSpelling = true)]
        public static extern IntPtr __EcatGetDevHandle(IntPtr handle);

        [DllImport(Library, CallingConvention = CallingConvention.Cdecl, ExactSpelling = true)]
        public static extern IntPtr __EcatGetMailBoxPtr(IntPtr handle);

        [DllImport(Library, CallingConvention = CallingConvention.Cdecl, ExactSpelling = true)]
        public static extern IntPtr __EcatGetPiInfo(IntPtr handle);

        [DllImport(Library, CallingConvention = CallingConvention.Cdecl, ExactSpelling = true)]
        public static extern uint EcatBusRun(IntPtr handle, [MarshalAs(UnmanagedType.LPStr)] string eni_path);

        [DllImport(Library, CallingConvention = CallingConvention.Cdecl, ExactSpelling = true)]
        public static extern uint EcatBusRunEx(IntPtr handle, [MarshalAs(UnmanagedType.LPStr)] string eni_path, PciProgress progress, [In, Out] byte[] progress_arg);
        [DllImport(Library, CallingConvention = CallingConvention.Cdecl, ExactSpelling = true)]
        public static extern uint EcatBusRunEx(IntPtr handle, [MarshalAs(UnmanagedType.LPStr)] string eni_path, PciProgress progress, IntPtr progress_arg);

        [DllImport(Library, CallingConvention = CallingConvention.Cdecl, ExactSpelling = true)]
        public static extern uint EcatBusStop(IntPtr handle);

        [DllImport(Library, CallingConvention = CallingConvention.Cdecl, ExactSpelling = true)]
        public static extern uint EcatReset(IntPtr handle);

        [DllImport(Library, CallingConvention = CallingConvention.Cdecl, ExactSpelling = true)]
        [return: MarshalAs(UnmanagedType.I1)] public static extern bool EcatBusIsRunning(IntPtr handle);

        [DllImport(Library, CallingConvention = CallingConvention.Cdecl, ExactSpelling = true)]
        public static extern uint EcatBusStatus(IntPtr handle, ref uint status);
        [DllImport(Library, CallingConvention = CallingConvention.Cdecl, ExactSpelling = true)]
        public static extern uint EcatBusStatus(IntPtr handle, IntPtr status);

        [DllImport(Library, CallingConvention = CallingConvention.Cdecl, ExactSpelling = true)]
        public static extern uint EcatRequestMasterState(IntPtr handle, byte state);

        [DllImport(Library, CallingConvention = CallingConvention.Cdecl, ExactSpelling = true)]
        public static extern uint EcatCheckRunningEni(IntPtr handle, [MarshalAs(UnmanagedType.LPStr)] string eni_path);

        [DllImport(Library, CallingConvention = CallingConvention.Cdecl, ExactSpelling = true)]
        public static extern uint EcatGetEniInfo(IntPtr handle, ref EniInfo info);
        [DllImport(Library, CallingConvention = CallingConvention.Cdecl, ExactSpelling = true)]
        public static extern uint EcatGetEniInfo(IntPtr handle, IntPtr info);

        [DllImport(Library, CallingConvention = CallingConvention.Cdecl, ExactSpelling = true)]
        public static extern uint EcatGetEniInfoEx(IntPtr handle, [In, Out] byte[] buffer, uint size);
        [DllImport(Library, CallingConvention = CallingConvention.Cdecl, ExactSpelling = true)]
        public static extern uint EcatGetEniInfoEx(IntPtr handle, IntPtr buffer, uint size);

        [DllImport(Library, CallingConvention = CallingConvention.Cdecl, ExactSpelling = true)]
        public static extern uint EcatGetFirmwareCompileMsg(IntPtr handle, [In, Out] byte[] buffer, uint size);
        [DllImport(Library, CallingConvention = CallingConvention.Cdecl, ExactSpelling = true)]
        public static extern uint EcatGetFirmwareCompileMsg(IntPtr handle, IntPtr buffer, uint size);

        [DllImport(Library, CallingConvention = CallingConvention.Cdecl, ExactSpelling = true)]
        public static extern uint __EcatBusCtrlWorkCntGet(IntPtr handle);

        [DllImport(Library, CallingConvention = CallingConvention.Cdecl, ExactSpelling = true)]
        public static extern int __GetEniFileCRC([MarshalAs(UnmanagedType.LPStr)] string path, [In, Out] byte[] buffer, uint size);
        [DllImport(Library, CallingConvention = CallingConvention.Cdecl, ExactSpelling = true)]
        public static extern int __GetEniFileCRC([MarshalAs(UnmanagedType.LPStr)] string path, IntPtr buffer, uint size);

        [DllImport(Library, CallingConvention = CallingConvention.Cdecl, ExactSpelling = true)]
        public static extern uint EcatGetMasterState(IntPtr handle, [In, Out] byte[] state);
        [DllImport(Library, CallingConvention = CallingConvention.Cdecl, ExactSpelling = true)]
        public static extern uint EcatGetMasterState(IntPtr handle, IntPtr state);

        [DllImport(Library, CallingConvention = CallingConvention.Cdecl, ExactSpelling = true)]
        public static extern uint EcatGetMasterReqState(IntPtr handle, [In, Out] byte[] state);
        [DllImport(Library, CallingConvention = CallingConvention.Cdecl, ExactSpelling = true)]
        public static extern uint EcatGetMasterReqState(IntPtr handle, IntPtr state);

        [DllImport(Library, CallingConvention = CallingConvention.Cdecl, ExactSpelling = true)]
        public static extern uint EcatGetSlaveCount(IntPtr handle, ref ushort count);
        [DllImport(Library, CallingConvention = CallingConvention.Cdecl, ExactSpelling = true)]
        public static extern uint EcatGetSlaveCount(IntPtr handle, IntPtr count);

        [DllImport(Library, CallingConvention = CallingConvention.Cdecl, ExactSpelling = true)]
        public static extern uint EcatGetActiveSlaveCount(IntPtr handle, ref ushort count);
        [DllImport(Library, CallingConvention = CallingConvention.Cdecl, ExactSpelling = true)]
        public static extern uint EcatGetActiveSlaveCount(IntPtr handle, IntPtr count);

        [DllImport(Library, CallingConvention = CallingConvention.Cdecl, ExactSpelling = true)]
        public static extern uint EcatGetSlaveState(IntPtr handle, ushort slave, [In, Out] byte[] state);
        [DllImport(Library, CallingConvention = CallingConvention.Cdecl, ExactSpelling = true)]
        public static extern uint EcatGetSlaveState(IntPtr handle, ushort slave, IntPtr state);

        [DllImport(Library, CallingConvention = CallingConvention.Cdecl, ExactSpelling = true)]
        public static extern uint EcatGetSlaveStateEx(IntPtr handle, ushort count, [In, Out] byte[] states);
        [DllImport(Library, CallingConvention = CallingConvention.Cdecl, ExactSpelling = true)]
        public static extern uint EcatGetSlaveStateEx(IntPtr handle, ushort count, IntPtr states);

        [DllImport(Library, CallingConvention = CallingConvention.Cdecl, ExactSpelling = true)]
        public static extern uint EcatGetSlaveReqState(IntPtr handle, ushort slave, [In, Out] byte[] state);
        [DllImport(Library, CallingConvention = CallingConvention.Cdecl, ExactSpelling = true)]
        public static extern uint EcatGetSlaveReqState(IntPtr handle, ushort slave, IntPtr state);

        [DllImport(Library, CallingConvention = CallingConvention.Cdecl, ExactSpelling = true)]
        public static extern uint EcatGetSlaveReqStateEx(IntPtr handle, ushort count, [In, Out] byte[] states);
        [DllImport(Library, CallingConvention = CallingConvention.Cdecl, ExactSpelling = true)]
        public static extern uint EcatGetSlaveReqStateEx(IntPtr handle, ushort count, IntPtr states);

        [DllImport(Library, CallingConvention = CallingConvention.Cdecl, ExactSpelling = true)]
        public static extern uint EcatGetSlaveVendorID(IntPtr handle, ushort slave, ref uint @value);
        [DllImport(Library, CallingConvention = CallingConvention.Cdecl, ExactSpelling = true)]
        public static extern uint EcatGetSlaveVendorID(IntPtr handle, ushort slave, IntPtr @value);

        [DllImport(Library, CallingConvention = CallingConvention.Cdecl, ExactSpelling = true)]
        public static extern uint EcatGetSlaveProductCode(IntPtr handle, ushort slave, ref uint @value);
        [DllImport(Library, CallingConvention = CallingConvention.Cdecl, ExactSpelling = true)]
        public static extern uint EcatGetSlaveProductCode(IntPtr handle, ushort slave, IntPtr @value);

        [DllImport(Library, CallingConvention = CallingConvention.Cdecl, ExactSpelling = true)]
        public static extern uint EcatGetSlaveRevisionNo(IntPtr handle, ushort slave, ref uint @value);
        [DllImport(Library, CallingConvention = CallingConvention.Cdecl, ExactSpelling = true)]
        public static extern uint EcatGetSlaveRevisionNo(IntPtr handle, ushort slave, IntPtr @value);

        [DllImport(Library, CallingConvention = CallingConvention.Cdecl, ExactSpelling = true)]
        public static extern uint EcatGetSlaveSerialNo(IntPtr handle, ushort slave, ref uint @value);
        [DllImport(Library, CallingConvention = CallingConvention.Cdecl, ExactSpelling = true)]
        public static extern uint EcatGetSlaveSerialNo(IntPtr handle, ushort slave, IntPtr @value);

        [DllImport(Library, CallingConvention = CallingConvention.Cdecl, ExactSpelling = true)]
        public static extern uint EcatGetSlaveAlias(IntPtr handle, ushort slave, ref uint alias);
        [DllImport(Library, CallingConvention = CallingConvention.Cdecl, ExactSpelling = true)]
        public static extern uint EcatGetSlaveAlias(IntPtr handle, ushort slave, IntPtr alias);

        [DllImport(Library, CallingConvention = CallingConvention.Cdecl, ExactSpelling = true)]
        public static extern uint EcatGetSlaveFixAddr(IntPtr handle, ushort slave, ref ushort address);
        [DllImport(Library, CallingConvention = CallingConvention.Cdecl, ExactSpelling = true)]
        public static extern uint EcatGetSlaveFixAddr(IntPtr handle, ushort slave, IntPtr address);

        [DllImport(Library, CallingConvention = CallingConvention.Cdecl, ExactSpelling = true)]
        public static extern uint EcatGetSlaveDLStatus(IntPtr handle, ushort slave, ref ushort status);
        [DllImport(Library, CallingConvention = CallingConvention.Cdecl, ExactSpelling = true)]
        public static extern uint EcatGetSlaveDLStatus(IntPtr handle, ushort slave, IntPtr status);

        [DllImport(Library, CallingConvention = CallingConvention.Cdecl, ExactSpelling = true)]
        public static extern uint EcatGetSlaveALStatusCode(IntPtr handle, ushort slave, ref ushort code);
        [DllImport(Library, CallingConvention = CallingConvention.Cdecl, ExactSpelling = true)]
        public static extern uint EcatGetSlaveALStatusCode(IntPtr handle, ushort slave, IntPtr code);

        [DllImport(Library, CallingConvention = CallingConvention.Cdecl, ExactSpelling = true)]
        public static extern uint EcatGetSlaveInfo(IntPtr handle, ushort slave, [In, Out] byte[] info);
        [DllImport(Library, CallingConvention = CallingConvention.Cdecl, ExactSpelling = true)]
        public static extern uint EcatGetSlaveInfo(IntPtr handle, ushort slave, IntPtr info);

        [DllImport(Library, CallingConvention = CallingConvention.Cdecl, ExactSpelling = true)]
        public static extern uint EcatGetSlavePIOutputsInfo(IntPtr handle, ushort slave, ref ushort size, ref ushort offset);
        [DllImport(Library, CallingConvention = CallingConvention.Cdecl, ExactSpelling = true)]
        public static extern uint EcatGetSlavePIOutputsInfo(IntPtr handle, ushort slave, IntPtr size, IntPtr offset);

        [DllImport(Library, CallingConvention = CallingConvention.Cdecl, ExactSpelling = true)]
        public static extern uint EcatGetSlavePIInputsInfo(IntPtr handle, ushort slave, ref ushort size, ref ushort offset);
        [DllImport(Library, CallingConvention = CallingConvention.Cdecl, ExactSpelling = true)]
        public static extern uint EcatGetSlavePIInputsInfo(IntPtr handle, ushort slave, IntPtr size, IntPtr offset);

        [DllImport(Library, CallingConvention = CallingConvention.Cdecl, ExactSpelling = true)]
        public static extern uint EcatClearSlaveStateError(IntPtr handle, ushort slave);

        [DllImport(Library, CallingConvention = CallingConvention.Cdecl, ExactSpelling = true)]
        public static extern uint EcatAutoClearSlaveStateErrorEnableSet(IntPtr handle, uint enable);

        [DllImport(Library, CallingConvention = CallingConvention.Cdecl, ExactSpelling = true)]
        public static extern uint EcatAutoClearSlaveStateErrorEnableGet(IntPtr handle, ref uint enable);
        [DllImport(Library, CallingConvention = CallingConvention.Cdecl, ExactSpelling = true)]
        public static extern uint EcatAutoClearSlaveStateErrorEnableGet(IntPtr handle, IntPtr enable);

        [DllImport(Library, CallingConvention = CallingConvention.Cdecl, ExactSpelling = true)]
        public static extern uint EcatReadyLostTimeoutSet(IntPtr handle, uint @value);

        [DllImport(Library, CallingConvention = CallingConvention.Cdecl, ExactSpelling = true)]
        public static extern uint EcatReadyLostTimeoutGet(IntPtr handle, ref uint @value);
        [DllImport(Library, CallingConvention = CallingConvention.Cdecl, ExactSpelling = true)]
        public static extern uint EcatReadyLostTimeoutGet(IntPtr handle, IntPtr @value);

        [DllImport(Library, CallingConvention = CallingConvention.Cdecl, ExactSpelling = true)]
        public static extern uint ECAT_TIMEOUT_TRIGGER(IntPtr handle, int on);

        [DllImport(Library, CallingConvention = CallingConvention.Cdecl, ExactSpelling = true)]
        [return: MarshalAs(UnmanagedType.I1)] public static extern bool EcatSlaveIsActive(IntPtr handle, ushort slave);

        [DllImport(Library, CallingConvention = CallingConvention.Cdecl, ExactSpelling = true)]
        [return: MarshalAs(UnmanagedType.I1)] public static extern bool EcatSlaveIsReady(IntPtr handle, ushort slave);

        [DllImport(Library, CallingConvention = CallingConvention.Cdecl, ExactSpelling = true)]
        public static extern uint EcatSlaveFixAddr2Index(IntPtr handle, ushort address, ref ushort index);
        [DllImport(Library, CallingConvention = CallingConvention.Cdecl, ExactSpelling = true)]
        public static extern uint EcatSlaveFixAddr2Index(IntPtr handle, ushort address, IntPtr index);

        [DllImport(Library, CallingConvention = CallingConvention.Cdecl, ExactSpelling = true)]
        public static extern uint EcatSetTimeout(IntPtr handle, uint milliseconds);

        [DllImport(Library, CallingConvention = CallingConvention.Cdecl, ExactSpelling = true)]
        public static extern uint EcatRMEnable();

        [DllImport(Library, CallingConvention = CallingConvention.Cdecl, ExactSpelling = true)]
        public static extern uint EcatRMEnableGet(IntPtr handle, ref uint enable);
        [DllImport(Library, CallingConvention = CallingConvention.Cdecl, ExactSpelling = true)]
        public static extern uint EcatRMEnableGet(IntPtr handle, IntPtr enable);

        [DllImport(Library, CallingConvention = CallingConvention.Cdecl, ExactSpelling = true)]
        public static extern uint EcatCoeSDODownload(IntPtr handle, ushort slave, ushort index, byte subindex, int size, byte[] data, uint timeout_ms);
        [DllImport(Library, CallingConvention = CallingConvention.Cdecl, ExactSpelling = true)]
        public static extern uint EcatCoeSDODownload(IntPtr handle, ushort slave, ushort index, byte subindex, int size, IntPtr data, uint timeout_ms);

        [DllImport(Library, CallingConvention = CallingConvention.Cdecl, ExactSpelling = true)]
        public static extern uint EcatCoeSDODownloadEx(IntPtr handle, ushort slave, ushort index, byte subindex, byte complete_access, uint size, byte[] data, uint timeout_ms);
        [DllImport(Library, CallingConvention = CallingConvention.Cdecl, ExactSpelling = true)]
        public static extern uint EcatCoeSDODownloadEx(IntPtr handle, ushort slave, ushort index, byte subindex, byte complete_access, uint size, IntPtr data, uint timeout_ms);

        [DllImport(Library, CallingConvention = CallingConvention.Cdecl, ExactSpelling = true)]
        public static extern uint EcatCoeSDOUpload(IntPtr handle, ushort slave, ushort index, byte subindex, ref uint size, [In, Out] byte[] data, uint timeout_ms);
        [DllImport(Library, CallingConvention = CallingConvention.Cdecl, ExactSpelling = true)]
        public static extern uint EcatCoeSDOUpload(IntPtr handle, ushort slave, ushort index, byte subindex, IntPtr size, IntPtr data, uint timeout_ms);

        [DllImport(Library, CallingConvention = CallingConvention.Cdecl, ExactSpelling = true)]
        public static extern uint EcatCoeSDOUploadEx(IntPtr handle, ushort slave, ushort index, byte subindex, byte complete_access, ref uint size, [In, Out] byte[] data, uint timeout_ms);
        [DllImport(Library, CallingConvention = CallingConvention.Cdecl, ExactSpelling = true)]
        public static extern uint EcatCoeSDOUploadEx(IntPtr handle, ushort slave, ushort index, byte subindex, byte complete_access, IntPtr size, IntPtr data, uint timeout_ms);

        [DllImport(Library, CallingConvention = CallingConvention.Cdecl, ExactSpelling = true)]
        public static extern uint EcatFoEWrite(IntPtr handle, ushort slave, [MarshalAs(UnmanagedType.LPStr)] string local_path, [MarshalAs(UnmanagedType.LPStr)] string foe_name);

        [DllImport(Library, CallingConvention = CallingConvention.Cdecl, ExactSpelling = true)]
        public static extern uint EcatFoERead(IntPtr handle, ushort slave, [MarshalAs(UnmanagedType.LPStr)] string local_path, [MarshalAs(UnmanagedType.LPStr)] string foe_name);

        [DllImport(Library, CallingConvention = CallingConvention.Cdecl, ExactSpelling = true)]
        public static extern uint EcatSlaveEepromRead(IntPtr handle, ushort slave, ushort address, ushort length, [In, Out] byte[] data);
        [DllImport(Library, CallingConvention = CallingConvention.Cdecl, ExactSpelling = true)]
        public static extern uint EcatSlaveEepromRead(IntPtr handle, ushort slave, ushort address, ushort length, IntPtr data);

        [DllImport(Library, CallingConvention = CallingConvention.Cdecl, ExactSpelling = true)]
        public static extern uint EcatSlaveEepromWrite(IntPtr handle, ushort slave, ushort address, ushort length, byte[] data);
        [DllImport(Library, CallingConvention = CallingConvention.Cdecl, ExactSpelling = true)]
        public static extern uint EcatSlaveEepromWrite(IntPtr handle, ushort slave, ushort address, ushort length, IntPtr data);

        [DllImport(Library, CallingConvention = CallingConvention.Cdecl, ExactSpelling = true)]
        public static extern uint EcatSlaveMemoryRead(IntPtr handle, ushort slave, ushort address, ushort length, [In, Out] byte[] data);
        [DllImport(Library, CallingConvention = CallingConvention.Cdecl, ExactSpelling = true)]
        public static extern uint EcatSlaveMemoryRead(IntPtr handle, ushort slave, ushort address, ushort length, IntPtr data);

        [DllImport(Library, CallingConvention = CallingConvention.Cdecl, ExactSpelling = true)]
        public static extern uint EcatSlaveMemoryWrite(IntPtr handle, ushort slave, ushort address, ushort length, byte[] data);
        [DllImport(Library, CallingConvention = CallingConvention.Cdecl, ExactSpelling = true)]
        public static extern uint EcatSlaveMemoryWrite(IntPtr handle, ushort slave, ushort address, ushort length, IntPtr data);

        [DllImport(Library, CallingConvention = CallingConvention.Cdecl, ExactSpelling = true)]
        public static extern uint EcatGetDiagnostics(IntPtr handle, [In, Out] byte[] master, ushort count, ref ushort slaves, [In, Out] byte[] records);
        [DllImport(Library, CallingConvention = CallingConvention.Cdecl, ExactSpelling = true)]
        public static extern uint EcatGetDiagnostics(IntPtr handle, IntPtr master, ushort count, IntPtr slaves, IntPtr records);

        [DllImport(Library, CallingConvention = CallingConvention.Cdecl, ExactSpelling = true)]
        public static extern uint EcatGetSlaveDiagnosticStates(IntPtr handle, ref uint master, ushort count, ref ushort slaves, ref uint states, [In, Out] byte[] details);
        [DllImport(Library, CallingConvention = CallingConvention.Cdecl, ExactSpelling = true)]
        public static extern uint EcatGetSlaveDiagnosticStates(IntPtr handle, IntPtr master, ushort count, IntPtr slaves, IntPtr states, IntPtr details);

        [DllImport(Library, CallingConvention = CallingConvention.Cdecl, ExactSpelling = true)]
        public static extern uint EcatNetDiagnosticsGetSlaveLinkStatus(IntPtr handle, [In, Out] byte[] records, ref ushort count);
        [DllImport(Library, CallingConvention = CallingConvention.Cdecl, ExactSpelling = true)]
        public static extern uint EcatNetDiagnosticsGetSlaveLinkStatus(IntPtr handle, IntPtr records, IntPtr count);

        [DllImport(Library, CallingConvention = CallingConvention.Cdecl, ExactSpelling = true)]
        public static extern uint EcatGetFirstLinkDownPortStatus(IntPtr handle, [In, Out] byte[] status);
        [DllImport(Library, CallingConvention = CallingConvention.Cdecl, ExactSpelling = true)]
        public static extern uint EcatGetFirstLinkDownPortStatus(IntPtr handle, IntPtr status);

        [DllImport(Library, CallingConvention = CallingConvention.Cdecl, ExactSpelling = true)]
        public static extern uint EcatGetLastError(IntPtr handle, [In, Out] byte[] buffer, uint size, ref uint length);
        [DllImport(Library, CallingConvention = CallingConvention.Cdecl, ExactSpelling = true)]
        public static extern uint EcatGetLastError(IntPtr handle, IntPtr buffer, uint size, IntPtr length);

        [DllImport(Library, CallingConvention = CallingConvention.Cdecl, ExactSpelling = true)]
        public static extern uint EcatPIRead(IntPtr handle, uint index, uint offset, uint length, [In, Out] byte[] destination);
        [DllImport(Library, CallingConvention = CallingConvention.Cdecl, ExactSpelling = true)]
        public static extern uint EcatPIRead(IntPtr handle, uint index, uint offset, uint length, IntPtr destination);

        [DllImport(Library, CallingConvention = CallingConvention.Cdecl, ExactSpelling = true)]
        public static extern uint EcatPIWrite(IntPtr handle, uint index, uint offset, uint length, byte[] source);
        [DllImport(Library, CallingConvention = CallingConvention.Cdecl, ExactSpelling = true)]
        public static extern uint EcatPIWrite(IntPtr handle, uint index, uint offset, uint length, IntPtr source);

        [DllImport(Library, CallingConvention = CallingConvention.Cdecl, ExactSpelling = true)]
        public static extern uint EcatPIMaskWrite(IntPtr handle, uint index, uint offset, uint length, byte[] mask, byte[] source);
        [DllImport(Library, CallingConvention = CallingConvention.Cdecl, ExactSpelling = true)]
        public static extern uint EcatPIMaskWrite(IntPtr handle, uint index, uint offset, uint length, IntPtr mask, IntPtr source);

        [DllImport(Library, CallingConvention = CallingConvention.Cdecl, ExactSpelling = true)]
        public static extern uint __EcatPIRead_NotCheck(IntPtr handle, uint index, ref uint offset, ref uint length, [In, Out] byte[] destination);
        [DllImport(Library, CallingConvention = CallingConvention.Cdecl, ExactSpelling = true)]
        public static extern uint __EcatPIRead_NotCheck(IntPtr handle, uint index, IntPtr offset, IntPtr length, IntPtr destination);

        [DllImport(Library, CallingConvention = CallingConvention.Cdecl, ExactSpelling = true)]
        public static extern uint EcatPIClear(IntPtr handle, uint index);

        [DllImport(Library, CallingConvention = CallingConvention.Cdecl, ExactSpelling = true)]
        public static extern uint EcatPINMap(IntPtr handle, uint index, out IntPtr address);
        [DllImport(Library, CallingConvention = CallingConvention.Cdecl, ExactSpelling = true)]
        public static extern uint EcatPINMap(IntPtr handle, uint index, IntPtr address);

        [DllImport(Library, CallingConvention = CallingConvention.Cdecl, ExactSpelling = true)]
        public static extern uint EcatPIGetRange(IntPtr handle, uint index, ushort slave, ref uint offset, ref uint length);
        [DllImport(Library, CallingConvention = CallingConvention.Cdecl, ExactSpelling = true)]
        public static extern uint EcatPIGetRange(IntPtr handle, uint index, ushort slave, IntPtr offset, IntPtr length);

        [DllImport(Library, CallingConvention = CallingConvention.Cdecl, ExactSpelling = true)]
        public static extern uint EcatSlavePIGetRange(IntPtr handle, uint index, ushort slave, ref uint offset, ref uint length);
        [DllImport(Library, CallingConvention = CallingConvention.Cdecl, ExactSpelling = true)]
        public static extern uint EcatSlavePIGetRange(IntPtr handle, uint index, ushort slave, IntPtr offset, IntPtr length);

        [DllImport(Library, CallingConvention = CallingConvention.Cdecl, ExactSpelling = true)]
        public static extern uint EcatSlavePIRead(IntPtr handle, uint index, ushort slave, uint length, [In, Out] byte[] destination);
        [DllImport(Library, CallingConvention = CallingConvention.Cdecl, ExactSpelling = true)]
        public static extern uint EcatSlavePIRead(IntPtr handle, uint index, ushort slave, uint length, IntPtr destination);

        [DllImport(Library, CallingConvention = CallingConvention.Cdecl, ExactSpelling = true)]
        public static extern uint EcatSlavePIReadEx(IntPtr handle, uint index, ushort slave, uint offset, uint length, [In, Out] byte[] destination);
        [DllImport(Library, CallingConvention = CallingConvention.Cdecl, ExactSpelling = true)]
        public static extern uint EcatSlavePIReadEx(IntPtr handle, uint index, ushort slave, uint offset, uint length, IntPtr destination);

        [DllImport(Library, CallingConvention = CallingConvention.Cdecl, ExactSpelling = true)]
        public static extern uint EcatSlavePIWrite(IntPtr handle, uint index, ushort slave, uint length, byte[] source);
        [DllImport(Library, CallingConvention = CallingConvention.Cdecl, ExactSpelling = true)]
        public static extern uint EcatSlavePIWrite(IntPtr handle, uint index, ushort slave, uint length, IntPtr source);

        [DllImport(Library, CallingConvention = CallingConvention.Cdecl, ExactSpelling = true)]
        public static extern uint EcatSlavePIWriteEx(IntPtr handle, uint index, ushort slave, uint offset, uint length, byte[] source);
        [DllImport(Library, CallingConvention = CallingConvention.Cdecl, ExactSpelling = true)]
        public static extern uint EcatSlavePIWriteEx(IntPtr handle, uint index, ushort slave, uint offset, uint length, IntPtr source);

        [DllImport(Library, CallingConvention = CallingConvention.Cdecl, ExactSpelling = true)]
        public static extern uint EcatSlavePIMaskWrite(IntPtr handle, uint index, ushort slave, uint length, byte[] mask, byte[] source);
        [DllImport(Library, CallingConvention = CallingConvention.Cdecl, ExactSpelling = true)]
        public static extern uint EcatSlavePIMaskWrite(IntPtr handle, uint index, ushort slave, uint length, IntPtr mask, IntPtr source);

        [DllImport(Library, CallingConvention = CallingConvention.Cdecl, ExactSpelling = true)]
        public static extern uint EcatSlavePIMaskWriteEx(IntPtr handle, uint index, ushort slave, uint offset, uint length, byte[] mask, byte[] source);
        [DllImport(Library, CallingConvention = CallingConvention.Cdecl, ExactSpelling = true)]
        public static extern uint EcatSlavePIMaskWriteEx(IntPtr handle, uint index, ushort slave, uint offset, uint length, IntPtr mask, IntPtr source);

        [DllImport(Library, CallingConvention = CallingConvention.Cdecl, ExactSpelling = true)]
        public static extern uint EcatSlavePIClear(IntPtr handle, uint index, ushort slave);

        [DllImport(Library, CallingConvention = CallingConvention.Cdecl, ExactSpelling = true)]
        public static extern uint EcatPIEnableSet(IntPtr handle, uint flag);

        [DllImport(Library, CallingConvention = CallingConvention.Cdecl, ExactSpelling = true)]
        public static extern uint EcatPIEnable(IntPtr handle);

        [DllImport(Library, CallingConvention = CallingConvention.Cdecl, ExactSpelling = true)]
        public static extern uint EcatPIDisable(IntPtr handle);

        [DllImport(Library, CallingConvention = CallingConvention.Cdecl, ExactSpelling = true)]
        public static extern uint EcatPIEnableGet(IntPtr handle, ref uint flag);
        [DllImport(Library, CallingConvention = CallingConvention.Cdecl, ExactSpelling = true)]
        public static extern uint EcatPIEnableGet(IntPtr handle, IntPtr flag);

        [DllImport(Library, CallingConvention = CallingConvention.Cdecl, ExactSpelling = true)]
        public static extern uint EcatPIReinitModeSet(IntPtr handle, uint mode);

        [DllImport(Library, CallingConvention = CallingConvention.Cdecl, ExactSpelling = true)]
        public static extern uint EcatPIReinitModeGet(IntPtr handle, ref uint mode);
        [DllImport(Library, CallingConvention = CallingConvention.Cdecl, ExactSpelling = true)]
        public static extern uint EcatPIReinitModeGet(IntPtr handle, IntPtr mode);

        [DllImport(Library, CallingConvention = CallingConvention.Cdecl, ExactSpelling = true)]
        public static extern uint EcatPIReinitModeSetGlobal(IntPtr handle, ushort mode);

        [DllImport(Library, CallingConvention = CallingConvention.Cdecl, ExactSpelling = true)]
        public static extern uint EcatPIReinitModeGetGlobal(IntPtr handle, ref uint mode);
        [DllImport(Library, CallingConvention = CallingConvention.Cdecl, ExactSpelling = true)]
        public static extern uint EcatPIReinitModeGetGlobal(IntPtr handle, IntPtr mode);

        [DllImport(Library, CallingConvention = CallingConvention.Cdecl, ExactSpelling = true)]
        public static extern uint EcatPIOutputQueuePush(IntPtr handle, byte flag, uint timeout_ms);

        [DllImport(Library, CallingConvention = CallingConvention.Cdecl, ExactSpelling = true)]
        public static extern uint EcatPIOutputQueueSize(IntPtr handle, ref uint count);
        [DllImport(Library, CallingConvention = CallingConvention.Cdecl, ExactSpelling = true)]
        public static extern uint EcatPIOutputQueueSize(IntPtr handle, IntPtr count);

        [DllImport(Library, CallingConvention = CallingConvention.Cdecl, ExactSpelling = true)]
        public static extern uint EcatPIInputQueuePop(IntPtr handle, byte newest, uint timeout_ms);

        [DllImport(Library, CallingConvention = CallingConvention.Cdecl, ExactSpelling = true)]
        public static extern uint EcatPIInputQueuePop_US(IntPtr handle, byte newest, ulong timeout_us);

        [DllImport(Library, CallingConvention = CallingConvention.Cdecl, ExactSpelling = true)]
        public static extern uint EcatPIInputQueueSize(IntPtr handle, ref uint count);
        [DllImport(Library, CallingConvention = CallingConvention.Cdecl, ExactSpelling = true)]
        public static extern uint EcatPIInputQueueSize(IntPtr handle, IntPtr count);

        [DllImport(Library, CallingConvention = CallingConvention.Cdecl, ExactSpelling = true)]
        public static extern uint EcatPIWatchDogConfig(IntPtr handle, uint slave, uint reserved, byte[] mask, byte[] data, uint length);
        [DllImport(Library, CallingConvention = CallingConvention.Cdecl, ExactSpelling = true)]
        public static extern uint EcatPIWatchDogConfig(IntPtr handle, uint slave, uint reserved, IntPtr mask, IntPtr data, uint length);

        [DllImport(Library, CallingConvention = CallingConvention.Cdecl, ExactSpelling = true)]
        public static extern uint EcatPIWatchDogEnable(IntPtr handle, uint flag);

        [DllImport(Library, CallingConvention = CallingConvention.Cdecl, ExactSpelling = true)]
        public static extern uint EcatPIWatchDogStart(IntPtr handle, uint @value, [MarshalAs(UnmanagedType.LPStr)] string text);

        [DllImport(Library, CallingConvention = CallingConvention.Cdecl, ExactSpelling = true)]
        public static extern uint EcatPIWatchDogStop(IntPtr handle);

        [DllImport(Library, CallingConvention = CallingConvention.Cdecl, ExactSpelling = true)]
        public static extern uint EcatPIWatchDogQuery(IntPtr handle, uint slave, ref uint first_status, ref uint second_status, [In, Out] byte[] first_block, [In, Out] byte[] second_block, ref uint length);
        [DllImport(Library, CallingConvention = CallingConvention.Cdecl, ExactSpelling = true)]
        public static extern uint EcatPIWatchDogQuery(IntPtr handle, uint slave, IntPtr first_status, IntPtr second_status, IntPtr first_block, IntPtr second_block, IntPtr length);

        [DllImport(Library, CallingConvention = CallingConvention.Cdecl, ExactSpelling = true)]
        public static extern uint EcatPIWatchDogFeed(IntPtr handle);

        [DllImport(Library, CallingConvention = CallingConvention.Cdecl, ExactSpelling = true)]
        public static extern IntPtr ecat_bitmemcpy([In, Out] byte[] destination, uint destination_bit, byte[] source, uint source_bit, uint bits);
        [DllImport(Library, CallingConvention = CallingConvention.Cdecl, ExactSpelling = true)]
        public static extern IntPtr ecat_bitmemcpy(IntPtr destination, uint destination_bit, IntPtr source, uint source_bit, uint bits);

        [DllImport(Library, CallingConvention = CallingConvention.Cdecl, ExactSpelling = true)]
        public static extern uint __set_pi_area_complete_info_pdo_len(IntPtr handle, uint index, uint length);

        [DllImport(Library, CallingConvention = CallingConvention.Cdecl, ExactSpelling = true)]
        public static extern uint ecat_pi_logic_addr_map_init([MarshalAs(UnmanagedType.LPStr)] string eni_path, uint slave_count, [In, Out] byte[] input_block, [In, Out] byte[] output_block);
        [DllImport(Library, CallingConvention = CallingConvention.Cdecl, ExactSpelling = true)]
        public static extern uint ecat_pi_logic_addr_map_init([MarshalAs(UnmanagedType.LPStr)] string eni_path, uint slave_count, IntPtr input_block, IntPtr output_block);

        [DllImport(Library, CallingConvention = CallingConvention.Cdecl, ExactSpelling = true)]
        [return: MarshalAs(UnmanagedType.I1)] public static extern bool ecat_pi_logic_addr_get_range(byte[] block, ushort start, ushort count, out IntPtr begin, out IntPtr end);
        [DllImport(Library, CallingConvention = CallingConvention.Cdecl, ExactSpelling = true)]
        [return: MarshalAs(UnmanagedType.I1)] public static extern bool ecat_pi_logic_addr_get_range(IntPtr block, ushort start, ushort count, IntPtr begin, IntPtr end);

        [DllImport(Library, CallingConvention = CallingConvention.Cdecl, ExactSpelling = true)]
        [return: MarshalAs(UnmanagedType.I1)] public static extern bool getPiInfo_offset2slave(byte[] pi_info, uint direction, ushort start, ushort count, ref ushort first, ref ushort number, out IntPtr participation);
        [DllImport(Library, CallingConvention = CallingConvention.Cdecl, ExactSpelling = true)]
        [return: MarshalAs(UnmanagedType.I1)] public static extern bool getPiInfo_offset2slave(IntPtr pi_info, uint direction, ushort start, ushort count, IntPtr first, IntPtr number, IntPtr participation);

        [DllImport(Library, CallingConvention = CallingConvention.Cdecl, ExactSpelling = true)]
        [return: MarshalAs(UnmanagedType.I1)] public static extern bool ecat_calc_phy_logic_mixed(ref PiPhyEntry phy, ushort logic, ushort start, ushort count, ref ushort bit_in_request, ref ushort phy_bit, ref ushort bits);
        [DllImport(Library, CallingConvention = CallingConvention.Cdecl, ExactSpelling = true)]
        [return: MarshalAs(UnmanagedType.I1)] public static extern bool ecat_calc_phy_logic_mixed(IntPtr phy, ushort logic, ushort start, ushort count, IntPtr bit_in_request, IntPtr phy_bit, IntPtr bits);

        [DllImport(Library, CallingConvention = CallingConvention.Cdecl, ExactSpelling = true)]
        public static extern void ecat_slave_active_cache_init(IntPtr cache, ref uint card, ref uint participation, uint count);
        [DllImport(Library, CallingConvention = CallingConvention.Cdecl, ExactSpelling = true)]
        public static extern void ecat_slave_active_cache_init(IntPtr cache, IntPtr card, IntPtr participation, uint count);

        [DllImport(Library, CallingConvention = CallingConvention.Cdecl, ExactSpelling = true)]
        [return: MarshalAs(UnmanagedType.I1)] public static extern bool ecat_slave_active_cache_get(IntPtr cache, ushort slave);

        [DllImport(Library, CallingConvention = CallingConvention.Cdecl, ExactSpelling = true)]
        [return: MarshalAs(UnmanagedType.I1)] public static extern bool ecat_check_all_slave_is_active(byte[] pi_info, ref uint card, uint direction, ushort start, ushort count);
        [DllImport(Library, CallingConvention = CallingConvention.Cdecl, ExactSpelling = true)]
        [return: MarshalAs(UnmanagedType.I1)] public static extern bool ecat_check_all_slave_is_active(IntPtr pi_info, IntPtr card, uint direction, ushort start, ushort count);

        [DllImport(Library, CallingConvention = CallingConvention.Cdecl, ExactSpelling = true)]
        [return: MarshalAs(UnmanagedType.I1)] public static extern bool iterator_find_range(IntPtr ops, [In, Out] byte[] begin, [In, Out] byte[] end, ulong low, ulong high, out IntPtr range_begin, out IntPtr range_end, IntPtr inside);
        [DllImport(Library, CallingConvention = CallingConvention.Cdecl, ExactSpelling = true)]
        [return: MarshalAs(UnmanagedType.I1)] public static extern bool iterator_find_range(IntPtr ops, IntPtr begin, IntPtr end, ulong low, ulong high, IntPtr range_begin, IntPtr range_end, IntPtr inside);

        [DllImport(Library, CallingConvention = CallingConvention.Cdecl, ExactSpelling = true)]
        public static extern uint pi_buff_3p_master_write([In, Out] byte[] @object, uint offset, uint count, byte[] source, byte[] mask, IntPtr state);
        [DllImport(Library, CallingConvention = CallingConvention.Cdecl, ExactSpelling = true)]
        public static extern uint pi_buff_3p_master_write(IntPtr @object, uint offset, uint count, IntPtr source, IntPtr mask, IntPtr state);

        [DllImport(Library, CallingConvention = CallingConvention.Cdecl, ExactSpelling = true)]
        public static extern uint pi_buff_3p_master_write_cycle([In, Out] byte[] @object, uint offset, uint count, byte[] source, byte[] mask, IntPtr state);
        [DllImport(Library, CallingConvention = CallingConvention.Cdecl, ExactSpelling = true)]
        public static extern uint pi_buff_3p_master_write_cycle(IntPtr @object, uint offset, uint count, IntPtr source, IntPtr mask, IntPtr state);

        [DllImport(Library, CallingConvention = CallingConvention.Cdecl, ExactSpelling = true)]
        public static extern uint pi_buff_3p_master_read([In, Out] byte[] @object, uint offset, uint count, [In, Out] byte[] destination, IntPtr state);
        [DllImport(Library, CallingConvention = CallingConvention.Cdecl, ExactSpelling = true)]
        public static extern uint pi_buff_3p_master_read(IntPtr @object, uint offset, uint count, IntPtr destination, IntPtr state);

        [DllImport(Library, CallingConvention = CallingConvention.Cdecl, ExactSpelling = true)]
        public static extern uint pi_buff_3p_master_force_update([In, Out] byte[] @object);
        [DllImport(Library, CallingConvention = CallingConvention.Cdecl, ExactSpelling = true)]
        public static extern uint pi_buff_3p_master_force_update(IntPtr @object);

        [DllImport(Library, CallingConvention = CallingConvention.Cdecl, ExactSpelling = true)]
        public static extern uint pi_buff_3p_slave_write([In, Out] byte[] @object, uint offset, uint count, byte[] source, byte[] mask, IntPtr state);
        [DllImport(Library, CallingConvention = CallingConvention.Cdecl, ExactSpelling = true)]
        public static extern uint pi_buff_3p_slave_write(IntPtr @object, uint offset, uint count, IntPtr source, IntPtr mask, IntPtr state);

        [DllImport(Library, CallingConvention = CallingConvention.Cdecl, ExactSpelling = true)]
        public static extern uint pi_buff_3p_slave_read([In, Out] byte[] @object, uint offset, uint count, [In, Out] byte[] destination, IntPtr state);
        [DllImport(Library, CallingConvention = CallingConvention.Cdecl, ExactSpelling = true)]
        public static extern uint pi_buff_3p_slave_read(IntPtr @object, uint offset, uint count, IntPtr destination, IntPtr state);

        [DllImport(Library, CallingConvention = CallingConvention.Cdecl, ExactSpelling = true)]
        public static extern uint pi_buff_3p_slave_read_cycle([In, Out] byte[] @object, uint offset, uint count, [In, Out] byte[] destination, IntPtr state);
        [DllImport(Library, CallingConvention = CallingConvention.Cdecl, ExactSpelling = true)]
        public static extern uint pi_buff_3p_slave_read_cycle(IntPtr @object, uint offset, uint count, IntPtr destination, IntPtr state);

        [DllImport(Library, CallingConvention = CallingConvention.Cdecl, ExactSpelling = true)]
        public static extern uint __EcatPIASyncModeInit(IntPtr state, uint board, uint channel);

        [DllImport(Library, CallingConvention = CallingConvention.Cdecl, ExactSpelling = true)]
        public static extern uint __EcatPIASyncDirectAccessModeInit(IntPtr handle);

        [DllImport(Library, CallingConvention = CallingConvention.Cdecl, ExactSpelling = true)]
        public static extern uint __EcatPIASyncCycleAccessModeInit(IntPtr handle);

        [DllImport(Library, CallingConvention = CallingConvention.Cdecl, ExactSpelling = true)]
        public static extern uint __EcatPIASyncManualAccessModeInit(IntPtr handle);

        [DllImport(Library, CallingConvention = CallingConvention.Cdecl, ExactSpelling = true)]
        public static extern uint EcatPIASyncModeSet(IntPtr handle, uint mode);

        [DllImport(Library, CallingConvention = CallingConvention.Cdecl, ExactSpelling = true)]
        public static extern uint EcatPIASyncModeGet(IntPtr handle, ref uint mode);
        [DllImport(Library, CallingConvention = CallingConvention.Cdecl, ExactSpelling = true)]
        public static extern uint EcatPIASyncModeGet(IntPtr handle, IntPtr mode);

        [DllImport(Library, CallingConvention = CallingConvention.Cdecl, ExactSpelling = true)]
        public static extern uint EcatPIASyncUpdateData(IntPtr handle, uint index);

        [DllImport(Library, CallingConvention = CallingConvention.Cdecl, ExactSpelling = true)]
        public static extern uint EcatPIAsyncModeCycleCallbackHook(IntPtr handle, IntPtr arg, EcatCycleCallback callback);

        [DllImport(Library, CallingConvention = CallingConvention.Cdecl, ExactSpelling = true)]
        public static extern uint EcatPIInputWaitNotify(IntPtr handle, uint timeout_ms);

        [DllImport(Library, CallingConvention = CallingConvention.Cdecl, ExactSpelling = true)]
        public static extern uint __EcatPIASyncModeReset(IntPtr state);

        [DllImport(Library, CallingConvention = CallingConvention.Cdecl, ExactSpelling = true)]
        public static extern uint __EcatPIASyncModeDestroy(IntPtr state);

        [DllImport(Library, CallingConvention = CallingConvention.Cdecl, ExactSpelling = true)]
        public static extern uint __EcatPIWaitSignal(IntPtr handle);

        [DllImport(Library, CallingConvention = CallingConvention.Cdecl, ExactSpelling = true)]
        public static extern uint __Ecat_PI_ASync_WakeupByInterrup(IntPtr handle, uint timeout_ms);

        [DllImport(Library, CallingConvention = CallingConvention.Cdecl, ExactSpelling = true)]
        public static extern uint __Ecat_PI_ASync_WakeupByCycleSign(IntPtr handle, uint timeout_ms);

        [DllImport(Library, CallingConvention = CallingConvention.Cdecl, ExactSpelling = true)]
        public static extern IntPtr cJSON_Version();

        [DllImport(Library, CallingConvention = CallingConvention.Cdecl, ExactSpelling = true)]
        public static extern void cJSON_InitHooks(IntPtr hooks);

        [DllImport(Library, CallingConvention = CallingConvention.Cdecl, ExactSpelling = true)]
        public static extern IntPtr cJSON_Parse([MarshalAs(UnmanagedType.LPStr)] string @value);

        [DllImport(Library, CallingConvention = CallingConvention.Cdecl, ExactSpelling = true)]
        public static extern IntPtr cJSON_ParseWithLength([MarshalAs(UnmanagedType.LPStr)] string @value, UIntPtr buffer_length);

        [DllImport(Library, CallingConvention = CallingConvention.Cdecl, ExactSpelling = true)]
        public static extern IntPtr cJSON_ParseWithOpts([MarshalAs(UnmanagedType.LPStr)] string @value, out IntPtr return_parse_end, int require_null_terminated);
        [DllImport(Library, CallingConvention = CallingConvention.Cdecl, ExactSpelling = true)]
        public static extern IntPtr cJSON_ParseWithOpts([MarshalAs(UnmanagedType.LPStr)] string @value, IntPtr return_parse_end, int require_null_terminated);

        [DllImport(Library, CallingConvention = CallingConvention.Cdecl, ExactSpelling = true)]
        public static extern IntPtr cJSON_ParseWithLengthOpts([MarshalAs(UnmanagedType.LPStr)] string @value, UIntPtr buffer_length, out IntPtr return_parse_end, int require_null_terminated);
        [DllImport(Library, CallingConvention = CallingConvention.Cdecl, ExactSpelling = true)]
        public static extern IntPtr cJSON_ParseWithLengthOpts([MarshalAs(UnmanagedType.LPStr)] string @value, UIntPtr buffer_length, IntPtr return_parse_end, int require_null_terminated);

        [DllImport(Library, CallingConvention = CallingConvention.Cdecl, ExactSpelling = true)]
        public static extern IntPtr cJSON_Print(IntPtr item);

        [DllImport(Library, CallingConvention = CallingConvention.Cdecl, ExactSpelling = true)]
        public static extern IntPtr cJSON_PrintUnformatted(IntPtr item);

        [DllImport(Library, CallingConvention = CallingConvention.Cdecl, ExactSpelling = true)]
        public static extern IntPtr cJSON_PrintBuffered(IntPtr item, int prebuffer, int fmt);

        [DllImport(Library, CallingConvention = CallingConvention.Cdecl, ExactSpelling = true)]
        public static extern int cJSON_PrintPreallocated(IntPtr item, [In, Out] byte[] buffer, int length, int format);
        [DllImport(Library, CallingConvention = CallingConvention.Cdecl, ExactSpelling = true)]
        public static extern int cJSON_PrintPreallocated(IntPtr item, IntPtr buffer, int length, int format);

        [DllImport(Library, CallingConvention = CallingConvention.Cdecl, ExactSpelling = true)]
        public static extern void cJSON_Delete(IntPtr item);

        [DllImport(Library, CallingConvention = CallingConvention.Cdecl, ExactSpelling = true)]
        public static extern int cJSON_GetArraySize(IntPtr array);

        [DllImport(Library, CallingConvention = CallingConvention.Cdecl, ExactSpelling = true)]
        public static extern IntPtr cJSON_GetArrayItem(IntPtr array, int index);

        [DllImport(Library, CallingConvention = CallingConvention.Cdecl, ExactSpelling = true)]
        public static extern IntPtr cJSON_GetObjectItem(IntPtr @object, [MarshalAs(UnmanagedType.LPStr)] string @string);

        [DllImport(Library, CallingConvention = CallingConvention.Cdecl, ExactSpelling = true)]
        public static extern IntPtr cJSON_GetObjectItemCaseSensitive(IntPtr @object, [MarshalAs(UnmanagedType.LPStr)] string @string);

        [DllImport(Library, CallingConvention = CallingConvention.Cdecl, ExactSpelling = true)]
        public static extern int cJSON_HasObjectItem(IntPtr @object, [MarshalAs(UnmanagedType.LPStr)] string @string);

        [DllImport(Library, CallingConvention = CallingConvention.Cdecl, ExactSpelling = true)]
        public static extern IntPtr cJSON_GetErrorPtr();

        [DllImport(Library, CallingConvention = CallingConvention.Cdecl, ExactSpelling = true)]
        public static extern IntPtr cJSON_GetStringValue(IntPtr item);

        [DllImport(Library, CallingConvention = CallingConvention.Cdecl, ExactSpelling = true)]
        public static extern double cJSON_GetNumberValue(IntPtr item);

        [DllImport(Library, CallingConvention = CallingConvention.Cdecl, ExactSpelling = true)]
        public static extern int cJSON_IsInvalid(IntPtr item);

        [DllImport(Library, CallingConvention = CallingConvention.Cdecl, ExactSpelling = true)]
        public static extern int cJSON_IsFalse(IntPtr item);

        [DllImport(Library, CallingConvention = CallingConvention.Cdecl, ExactSpelling = true)]
        public static extern int cJSON_IsTrue(IntPtr item);

        [DllImport(Library, CallingConvention = CallingConvention.Cdecl, ExactSpelling = true)]
        public static extern int cJSON_IsBool(IntPtr item);

        [DllImport(Library, CallingConvention = CallingConvention.Cdecl, ExactSpelling = true)]
        public static extern int cJSON_IsNull(IntPtr item);

        [DllImport(Library, CallingConvention = CallingConvention.Cdecl, ExactSpelling = true)]
        public static extern int cJSON_IsNumber(IntPtr item);

        [DllImport(Library, CallingConvention = CallingConvention.Cdecl, ExactSpelling = true)]
        public static extern int cJSON_IsString(IntPtr item);

        [DllImport(Library, CallingConvention = CallingConvention.Cdecl, ExactSpelling = true)]
        public static extern int cJSON_IsArray(IntPtr item);

        [DllImport(Library, CallingConvention = CallingConvention.Cdecl, ExactSpelling = true)]
        public static extern int cJSON_IsObject(IntPtr item);

        [DllImport(Library, CallingConvention = CallingConvention.Cdecl, ExactSpelling = true)]
        public static extern int cJSON_IsRaw(IntPtr item);

        [DllImport(Library, CallingConvention = CallingConvention.Cdecl, ExactSpelling = true)]
        public static extern IntPtr cJSON_CreateNull();

        [DllImport(Library, CallingConvention = CallingConvention.Cdecl, ExactSpelling = true)]
        public static extern IntPtr cJSON_CreateTrue();

        [DllImport(Library, CallingConvention = CallingConvention.Cdecl, ExactSpelling = true)]
        public static extern IntPtr cJSON_CreateFalse();

        [DllImport(Library, CallingConvention = CallingConvention.Cdecl, ExactSpelling = true)]
        public static extern IntPtr cJSON_CreateBool(int boolean);

        [DllImport(Library, CallingConvention = CallingConvention.Cdecl, ExactSpelling = true)]
        public static extern IntPtr cJSON_CreateNumber(double num);

        [DllImport(Library, CallingConvention = CallingConvention.Cdecl, ExactSpelling = true)]
        public static extern IntPtr cJSON_CreateString([MarshalAs(UnmanagedType.LPStr)] string @string);

        [DllImport(Library, CallingConvention = CallingConvention.Cdecl, ExactSpelling = true)]
        public static extern IntPtr cJSON_CreateRaw([MarshalAs(UnmanagedType.LPStr)] string raw);

        [DllImport(Library, CallingConvention = CallingConvention.Cdecl, ExactSpelling = true)]
        public static extern IntPtr cJSON_CreateArray();

        [DllImport(Library, CallingConvention = CallingConvention.Cdecl, ExactSpelling = true)]
        public static extern IntPtr cJSON_CreateObject();

        [DllImport(Library, CallingConvention = CallingConvention.Cdecl, ExactSpelling = true)]
        public static extern IntPtr cJSON_CreateStringReference([MarshalAs(UnmanagedType.LPStr)] string @string);

        [DllImport(Library, CallingConvention = CallingConvention.Cdecl, ExactSpelling = true)]
        public static extern IntPtr cJSON_CreateObjectReference(IntPtr child);

        [DllImport(Library, CallingConvention = CallingConvention.Cdecl, ExactSpelling = true)]
        public static extern IntPtr cJSON_CreateArrayReference(IntPtr child);

        [DllImport(Library, CallingConvention = CallingConvention.Cdecl, ExactSpelling = true)]
        public static extern IntPtr cJSON_CreateIntArray(ref int numbers, int count);
        [DllImport(Library, CallingConvention = CallingConvention.Cdecl, ExactSpelling = true)]
        public static extern IntPtr cJSON_CreateIntArray(IntPtr numbers, int count);

        [DllImport(Library, CallingConvention = CallingConvention.Cdecl, ExactSpelling = true)]
        public static extern IntPtr cJSON_CreateFloatArray(ref float numbers, int count);
        [DllImport(Library, CallingConvention = CallingConvention.Cdecl, ExactSpelling = true)]
        public static extern IntPtr cJSON_CreateFloatArray(IntPtr numbers, int count);

        [DllImport(Library, CallingConvention = CallingConvention.Cdecl, ExactSpelling = true)]
        public static extern IntPtr cJSON_CreateDoubleArray(ref double numbers, int count);
        [DllImport(Library, CallingConvention = CallingConvention.Cdecl, ExactSpelling = true)]
        public static extern IntPtr cJSON_CreateDoubleArray(IntPtr numbers, int count);

        [DllImport(Library, CallingConvention = CallingConvention.Cdecl, ExactSpelling = true)]
        public static extern IntPtr cJSON_CreateStringArray(out IntPtr strings, int count);
        [DllImport(Library, CallingConvention = CallingConvention.Cdecl, ExactSpelling = true)]
        public static extern IntPtr cJSON_CreateStringArray(IntPtr strings, int count);

        [DllImport(Library, CallingConvention = CallingConvention.Cdecl, ExactSpelling = true)]
        public static extern int cJSON_AddItemToArray(IntPtr array, IntPtr item);

        [DllImport(Library, CallingConvention = CallingConvention.Cdecl, ExactSpelling = true)]
        public static extern int cJSON_AddItemToObject(IntPtr @object, [MarshalAs(UnmanagedType.LPStr)] string @string, IntPtr item);

        [DllImport(Library, CallingConvention = CallingConvention.Cdecl, ExactSpelling = true)]
        public static extern int cJSON_AddItemToObjectCS(IntPtr @object, [MarshalAs(UnmanagedType.LPStr)] string @string, IntPtr item);

        [DllImport(Library, CallingConvention = CallingConvention.Cdecl, ExactSpelling = true)]
        public static extern int cJSON_AddItemReferenceToArray(IntPtr array, IntPtr item);

        [DllImport(Library, CallingConvention = CallingConvention.Cdecl, ExactSpelling = true)]
        public static extern int cJSON_AddItemReferenceToObject(IntPtr @object, [MarshalAs(UnmanagedType.LPStr)] string @string, IntPtr item);

        [DllImport(Library, CallingConvention = CallingConvention.Cdecl, ExactSpelling = true)]
        public static extern IntPtr cJSON_DetachItemViaPointer(IntPtr parent, IntPtr item);

        [DllImport(Library, CallingConvention = CallingConvention.Cdecl, ExactSpelling = true)]
        public static extern IntPtr cJSON_DetachItemFromArray(IntPtr array, int which);

        [DllImport(Library, CallingConvention = CallingConvention.Cdecl, ExactSpelling = true)]
        public static extern void cJSON_DeleteItemFromArray(IntPtr array, int which);

        [DllImport(Library, CallingConvention = CallingConvention.Cdecl, ExactSpelling = true)]
        public static extern IntPtr cJSON_DetachItemFromObject(IntPtr @object, [MarshalAs(UnmanagedType.LPStr)] string @string);

        [DllImport(Library, CallingConvention = CallingConvention.Cdecl, ExactSpelling = true)]
        public static extern IntPtr cJSON_DetachItemFromObjectCaseSensitive(IntPtr @object, [MarshalAs(UnmanagedType.LPStr)] string @string);

        [DllImport(Library, CallingConvention = CallingConvention.Cdecl, ExactSpelling = true)]
        public static extern void cJSON_DeleteItemFromObject(IntPtr @object, [MarshalAs(UnmanagedType.LPStr)] string @string);

        [DllImport(Library, CallingConvention = CallingConvention.Cdecl, ExactSpelling = true)]
        public static extern void cJSON_DeleteItemFromObjectCaseSensitive(IntPtr @object, [MarshalAs(UnmanagedType.LPStr)] string @string);

        [DllImport(Library, CallingConvention = CallingConvention.Cdecl, ExactSpelling = true)]
        public static extern int cJSON_InsertItemInArray(IntPtr array, int which, IntPtr newitem);

        [DllImport(Library, CallingConvention = CallingConvention.Cdecl, ExactSpelling = true)]
        public static extern int cJSON_ReplaceItemViaPointer(IntPtr parent, IntPtr item, IntPtr replacement);

        [DllImport(Library, CallingConvention = CallingConvention.Cdecl, ExactSpelling = true)]
        public static extern int cJSON_ReplaceItemInArray(IntPtr array, int which, IntPtr newitem);

        [DllImport(Library, CallingConvention = CallingConvention.Cdecl, ExactSpelling = true)]
        public static extern int cJSON_ReplaceItemInObject(IntPtr @object, [MarshalAs(UnmanagedType.LPStr)] string @string, IntPtr newitem);

        [DllImport(Library, CallingConvention = CallingConvention.Cdecl, ExactSpelling = true)]
        public static extern int cJSON_ReplaceItemInObjectCaseSensitive(IntPtr @object, [MarshalAs(UnmanagedType.LPStr)] string @string, IntPtr newitem);

        [DllImport(Library, CallingConvention = CallingConvention.Cdecl, ExactSpelling = true)]
        public static extern IntPtr cJSON_Duplicate(IntPtr item, int recurse);

        [DllImport(Library, CallingConvention = CallingConvention.Cdecl, ExactSpelling = true)]
        public static extern int cJSON_Compare(IntPtr a, IntPtr b, int case_sensitive);

        [DllImport(Library, CallingConvention = CallingConvention.Cdecl, ExactSpelling = true)]
        public static extern void cJSON_Minify([In, Out] byte[] json);
        [DllImport(Library, CallingConvention = CallingConvention.Cdecl, ExactSpelling = true)]
        public static extern void cJSON_Minify(IntPtr json);

        [DllImport(Library, CallingConvention = CallingConvention.Cdecl, ExactSpelling = true)]
        public static extern IntPtr cJSON_AddNullToObject(IntPtr @object, [MarshalAs(UnmanagedType.LPStr)] string name);

        [DllImport(Library, CallingConvention = CallingConvention.Cdecl, ExactSpelling = true)]
        public static extern IntPtr cJSON_AddTrueToObject(IntPtr @object, [MarshalAs(UnmanagedType.LPStr)] string name);

        [DllImport(Library, CallingConvention = CallingConvention.Cdecl, ExactSpelling = true)]
        public static extern IntPtr cJSON_AddFalseToObject(IntPtr @object, [MarshalAs(UnmanagedType.LPStr)] string name);

        [DllImport(Library, CallingConvention = CallingConvention.Cdecl, ExactSpelling = true)]
        public static extern IntPtr cJSON_AddBoolToObject(IntPtr @object, [MarshalAs(UnmanagedType.LPStr)] string name, int boolean);

        [DllImport(Library, CallingConvention = CallingConvention.Cdecl, ExactSpelling = true)]
        public static extern IntPtr cJSON_AddNumberToObject(IntPtr @object, [MarshalAs(UnmanagedType.LPStr)] string name, double number);

        [DllImport(Library, CallingConvention = CallingConvention.Cdecl, ExactSpelling = true)]
        public static extern IntPtr cJSON_AddStringToObject(IntPtr @object, [MarshalAs(UnmanagedType.LPStr)] string name, [MarshalAs(UnmanagedType.LPStr)] string @string);

        [DllImport(Library, CallingConvention = CallingConvention.Cdecl, ExactSpelling = true)]
        public static extern IntPtr cJSON_AddRawToObject(IntPtr @object, [MarshalAs(UnmanagedType.LPStr)] string name, [MarshalAs(UnmanagedType.LPStr)] string raw);

        [DllImport(Library, CallingConvention = CallingConvention.Cdecl, ExactSpelling = true)]
        public static extern IntPtr cJSON_AddObjectToObject(IntPtr @object, [MarshalAs(UnmanagedType.LPStr)] string name);

        [DllImport(Library, CallingConvention = CallingConvention.Cdecl, ExactSpelling = true)]
        public static extern IntPtr cJSON_AddArrayToObject(IntPtr @object, [MarshalAs(UnmanagedType.LPStr)] string name);

        [DllImport(Library, CallingConvention = CallingConvention.Cdecl, ExactSpelling = true)]
        public static extern double cJSON_SetNumberHelper(IntPtr @object, double number);

        [DllImport(Library, CallingConvention = CallingConvention.Cdecl, ExactSpelling = true)]
        public static extern IntPtr cJSON_SetValuestring(IntPtr @object, [MarshalAs(UnmanagedType.LPStr)] string valuestring);

        [DllImport(Library, CallingConvention = CallingConvention.Cdecl, ExactSpelling = true)]
        public static extern IntPtr cJSON_malloc(UIntPtr size);

        [DllImport(Library, CallingConvention = CallingConvention.Cdecl, ExactSpelling = true)]
        public static extern void cJSON_free([In, Out] byte[] @object);
        [DllImport(Library, CallingConvention = CallingConvention.Cdecl, ExactSpelling = true)]
        public static extern void cJSON_free(IntPtr @object);

        [DllImport(Library, CallingConvention = CallingConvention.Cdecl, ExactSpelling = true)]
        public static extern IntPtr cJSONUtils_GetPointer(IntPtr @object, [MarshalAs(UnmanagedType.LPStr)] string pointer);

        [DllImport(Library, CallingConvention = CallingConvention.Cdecl, ExactSpelling = true)]
        public static extern IntPtr cJSONUtils_GetPointerCaseSensitive(IntPtr @object, [MarshalAs(UnmanagedType.LPStr)] string pointer);

        [DllImport(Library, CallingConvention = CallingConvention.Cdecl, ExactSpelling = true)]
        public static extern IntPtr cJSONUtils_GeneratePatches(IntPtr from, IntPtr to);

        [DllImport(Library, CallingConvention = CallingConvention.Cdecl, ExactSpelling = true)]
        public static extern IntPtr cJSONUtils_GeneratePatchesCaseSensitive(IntPtr from, IntPtr to);

        [DllImport(Library, CallingConvention = CallingConvention.Cdecl, ExactSpelling = true)]
        public static extern void cJSONUtils_AddPatchToArray(IntPtr array, [MarshalAs(UnmanagedType.LPStr)] string operation, [MarshalAs(UnmanagedType.LPStr)] string path, IntPtr @value);

        [DllImport(Library, CallingConvention = CallingConvention.Cdecl, ExactSpelling = true)]
        public static extern int cJSONUtils_ApplyPatches(IntPtr @object, IntPtr patches);

        [DllImport(Library, CallingConvention = CallingConvention.Cdecl, ExactSpelling = true)]
        public static extern int cJSONUtils_ApplyPatchesCaseSensitive(IntPtr @object, IntPtr patches);

        [DllImport(Library, CallingConvention = CallingConvention.Cdecl, ExactSpelling = true)]
        public static extern IntPtr cJSONUtils_MergePatch(IntPtr target, IntPtr patch);

        [DllImport(Library, CallingConvention = CallingConvention.Cdecl, ExactSpelling = true)]
        public static extern IntPtr cJSONUtils_MergePatchCaseSensitive(IntPtr target, IntPtr patch);

        [DllImport(Library, CallingConvention = CallingConvention.Cdecl, ExactSpelling = true)]
        public static extern IntPtr cJSONUtils_GenerateMergePatch(IntPtr from, IntPtr to);

        [DllImport(Library, CallingConvention = CallingConvention.Cdecl, ExactSpelling = true)]
        public static extern IntPtr cJSONUtils_GenerateMergePatchCaseSensitive(IntPtr from, IntPtr to);

        [DllImport(Library, CallingConvention = CallingConvention.Cdecl, ExactSpelling = true)]
        public static extern IntPtr cJSONUtils_FindPointerFromObjectTo(IntPtr @object, IntPtr target);

        [DllImport(Library, CallingConvention = CallingConvention.Cdecl, ExactSpelling = true)]
        public static extern void cJSONUtils_SortObject(IntPtr @object);

        [DllImport(Library, CallingConvention = CallingConvention.Cdecl, ExactSpelling = true)]
        public static extern void cJSONUtils_SortObjectCaseSensitive(IntPtr @object);
    }
}
