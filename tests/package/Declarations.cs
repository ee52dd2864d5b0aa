// Every function of the list is declared and found in the library with arguments that can be passed;
// records have the size they have in C.
using System;
using System.Collections.Generic;
using System.IO;
using System.Linq;
using System.Reflection;
using System.Runtime.InteropServices;
using PciTarn;

static class Declarations
{
    static void Expect(bool holds, string what)
    {
        if (!holds)
        {
            Console.Error.WriteLine("failed: " + what);
            Environment.Exit(1);
        }
    }

    static void Main(string[] args)
    {
        var listed = new HashSet<string>(File.ReadAllLines(args[0]));
        var declared = new HashSet<string>();
        foreach (MethodInfo method in typeof(Native).GetMethods(BindingFlags.Static | BindingFlags.Public))
        {
            Marshal.Prelink(method);
            declared.Add(method.Name);
        }
        Expect(listed.SetEquals(declared), "declared, not listed or the other way round: " +
            string.Join(" ", listed.Except(declared).Concat(declared.Except(listed)).ToArray()));

        Expect(Marshal.SizeOf(typeof(BoardInfo)) == 108, "size of BoardInfo");
        Expect(Marshal.SizeOf(typeof(DriverInfo)) == 68, "size of DriverInfo");
        Expect(Marshal.SizeOf(typeof(EniInfo)) == 16, "size of EniInfo");
        Expect(Marshal.SizeOf(typeof(SHA1Context)) == 104, "size of SHA1Context");
        Expect(Marshal.SizeOf(typeof(PiPhyEntry)) == 4, "size of PiPhyEntry");

        DriverInfo info = new DriverInfo();
        Native.DriverGetInfo(ref info);
        Expect(info.library_version.StartsWith("1."), "version of the library");
        Expect(!Native.EcatBusIsRunning(IntPtr.Zero), "a result of one byte");
        Expect(Native.EcatGetSlaveCount(IntPtr.Zero, IntPtr.Zero) == (uint)Status.EHandle, "a status");
        Expect(PciTarnException.TextOf(80004) == "Device not find", "text of a status");

        byte[] digest = new byte[20];
        byte[] message = { (byte)'a', (byte)'b', (byte)'c' };
        SHA1Context context = new SHA1Context();
        Native.SHA1Init(ref context);
        Native.SHA1Update(ref context, message, 3);
        Native.SHA1Final(digest, ref context);
        Expect(digest[0] == 0xa9 && digest[19] == 0x9d, "a record that is passed by reference");
        Console.WriteLine("{0} functions are declared as they are.", declared.Count);
    }
}
