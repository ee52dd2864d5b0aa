// What most C# programs need: a channel that is closed and a status that is told by an exception.
// Everything else is in Native.cs.
using System;
using System.Runtime.InteropServices;

namespace PciTarn
{
    /// <summary>A call that returned another status than 0.</summary>
    public class PciTarnException : Exception
    {
        public PciTarnException(uint code, string function)
            : base(function + ": " + TextOf(code) + " (" + code + ")")
        {
            Code = code;
            Text = TextOf(code);
        }

        public uint Code { get; private set; }
        public string Text { get; private set; }

        /// <summary>Text of a status code.</summary>
        public static string TextOf(uint code)
        {
            return Marshal.PtrToStringAnsi(Native.DriverGetErrStr(code));
        }

        /// <summary>Throws unless the status is 0.</summary>
        public static void Check(uint status, string function)
        {
            if (status != (uint)Status.Ok)
            {
                throw new PciTarnException(status, function);
            }
        }
    }

    /// <summary>One opened EtherCAT channel. Disposing of it closes the channel; the bus goes on
    /// running.</summary>
    public sealed class Channel : IDisposable
    {
        /// <param name="board">"ID0" (by position), "AL3" (by alias switch) or a name</param>
        /// <param name="channel">0 or 1</param>
        public Channel(string board = "ID0", uint channel = 0)
        {
            IntPtr handle;
            PciTarnException.Check(Native.EcatOpen(out handle, board, channel), "EcatOpen");
            Handle = handle;
        }

        /// <summary>The handle, for the functions of Native.</summary>
        public IntPtr Handle { get; private set; }

        public void Dispose()
        {
            if (Handle != IntPtr.Zero)
            {
                Native.EcatClose(Handle);
                Handle = IntPtr.Zero;
            }
        }

        /// <summary>Starts the bus with an ENI file.</summary>
        /// <param name="progress">called with fractions from 0 to 1; may be null. What it throws comes
        /// out of here once the start is over, with the bus running.</param>
        public void Start(string eni, Action<float> progress = null)
        {
            Exception failure = null;
            PciProgress report = (arg, fraction) =>
            {
                try
                {
                    progress(fraction);
                }
                catch (Exception error) // must not pass through the library
                {
                    failure = error;
                }
            };
            uint status = Native.EcatBusRunEx(
                Handle, eni, progress == null ? null : report, IntPtr.Zero);
            GC.KeepAlive(report);
            PciTarnException.Check(status, "EcatBusRunEx");
            if (failure != null)
            {
                throw failure;
            }
        }

        /// <summary>Stops the bus.</summary>
        public void Stop()
        {
            PciTarnException.Check(Native.EcatBusStop(Handle), "EcatBusStop");
        }

        /// <summary>Whether the bus runs.</summary>
        public bool Running
        {
            get { return Native.EcatBusIsRunning(Handle); }
        }

        /// <summary>Number of configured slaves.</summary>
        public ushort SlaveCount
        {
            get
            {
                ushort count = 0;
                PciTarnException.Check(
                    Native.EcatGetSlaveCount(Handle, ref count), "EcatGetSlaveCount");
                return count;
            }
        }

        /// <summary>Writes bytes into an area of the process image.</summary>
        public void Write(byte[] data, uint offset = 0, uint area = Native.ECAT_PI_FAST_OUTPUT)
        {
            PciTarnException.Check(
                Native.EcatPIWrite(Handle, area, offset, (uint)data.Length, data), "EcatPIWrite");
        }

        /// <summary>Reads bytes from an area of the process image.</summary>
        public byte[] Read(int length, uint offset = 0, uint area = Native.ECAT_PI_SHADOW_INPUT)
        {
            byte[] data = new byte[length];
            PciTarnException.Check(
                Native.EcatPIRead(Handle, area, offset, (uint)length, data), "EcatPIRead");
            return data;
        }

        /// <summary>Value of an entry of a slave's object dictionary.</summary>
        /// <param name="complete">reads the whole object</param>
        /// <param name="size">most bytes that the value may have</param>
        /// <param name="timeoutMs">for the slave</param>
        public byte[] SdoRead(ushort slave, ushort index, byte subindex = 0, bool complete = false,
                              int size = 1024, uint timeoutMs = 1000)
        {
            byte[] data = new byte[size];
            uint length = (uint)size;
            PciTarnException.Check(
                Native.EcatCoeSDOUploadEx(Handle, slave, index, subindex, Flag(complete),
                                          ref length, data, timeoutMs),
                "EcatCoeSDOUploadEx");
            Array.Resize(ref data, (int)length);
            return data;
        }

        /// <summary>Writes an entry of a slave's object dictionary.</summary>
        /// <param name="complete">writes the whole object</param>
        /// <param name="timeoutMs">for the slave</param>
        public void SdoWrite(ushort slave, ushort index, byte[] data, byte subindex = 0,
                             bool complete = false, uint timeoutMs = 1000)
        {
            PciTarnException.Check(
                Native.EcatCoeSDODownloadEx(Handle, slave, index, subindex, Flag(complete),
                                            (uint)data.Length, data, timeoutMs),
                "EcatCoeSDODownloadEx");
        }

        private static byte Flag(bool set)
        {
            return (byte)(set ? 1 : 0);
        }
    }
}
