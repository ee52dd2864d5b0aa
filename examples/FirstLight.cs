// First light in C#: open a channel, start the bus with an ENI file, write outputs, read inputs,
// stop. Compiled together with the files of bindings/csharp. Usage: FirstLight.exe ENI [BOARD]
using System;
using System.Linq;
using System.Threading;
using PciTarn;

static class FirstLight {
    static void Exchange(Channel channel) {
        for (byte round = 1; round <= 10; ++round) {
            channel.Write(Enumerable.Repeat(round, 8).ToArray());
            Thread.Sleep(10); // some bus cycles
            string inputs = BitConverter.ToString(channel.Read(8)).Replace('-', ' ').ToLower();
            Console.WriteLine("wrote {0:x2}, read {1}", round, inputs);
        }
    }

    static int Main(string[] args) {
        if (args.Length < 1) {
            Console.Error.WriteLine("usage: FirstLight.exe ENI [BOARD]");
            return 2;
        }
        try {
            using (Channel channel = new Channel(args.Length > 1 ? args[1] : "ID0")) {
                channel.Start(args[0], done => Console.Write("\rstarting {0,3:0} %", done * 100));
                Console.WriteLine();
                try {
                    Exchange(channel);
                } finally {
                    channel.Stop();
                }
            }
        } catch (PciTarnException error) {
            Console.Error.WriteLine(error.Message);
            return 1;
        }
        return 0;
    }
}
