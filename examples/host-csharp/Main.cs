// SPDX-License-Identifier: Apache-2.0
// A service on the C interface in C#: CSharpHost.exe LIST.json [DEVICE.json]
// With a device profile, that device takes this machine's place.
using System;
using System.IO;
using System.Runtime.InteropServices;
using System.Text;
using System.Threading;
using static Yox;
using H = System.IntPtr;
using N = System.UIntPtr;

static class Host {
  static void Main(string[] arguments) {
    H list, runtime, reason, explanation, facts, subscription;
    int applies, arrived = 0;
    var document = File.ReadAllBytes(arguments[0]);
    Check(yox_list_read(document, (N)(uint)document.Length, out list));
    var profile = arguments.Length > 1 ? File.ReadAllBytes(arguments[1]) : null;
    var pinned = GCHandle.Alloc(profile, GCHandleType.Pinned);
    var options = new Options { Size = SizeOf<Options>(), Watch = 1 };
    if (profile != null) { options.Profile = pinned.AddrOfPinnedObject(); options.ProfileSize = (N)(uint)profile.Length; }
    Check(yox_runtime_start(ref options, out runtime));
    Check(yox_device_decide(runtime, list, H.Zero, out applies, out reason));
    Console.WriteLine(applies == 1 ? "applies" : "does not apply");
    Console.WriteLine(Utf8(yox_string_data(reason), yox_string_size(reason)));
    Check(yox_device_explain(runtime, list, H.Zero, out explanation));
    var explained = new Explained { Size = SizeOf<Explained>() };
    Check(yox_explanation_get(explanation, ref explained));
    for (uint i = 0; i < (uint)explained.Filters; ++i) {
      var filter = new Filter { Size = SizeOf<Filter>() };
      Check(yox_explanation_filter(explanation, (N)i, ref filter));
      for (uint j = 0; j < (uint)filter.Criteria; ++j) {
        var criterion = new Criterion { Size = SizeOf<Criterion>() };
        Check(yox_explanation_criterion(explanation, (N)i, (N)j, ref criterion));
        Console.WriteLine("  " + criterion.Field + (criterion.Result == 0 ? " held" : " failed"));
      }
    }
    var verdict = new Verdict { Size = SizeOf<Verdict>() };
    Check(yox_device_facts(runtime, ref list, (N)1u, out facts));
    Check(yox_decide(list, facts, H.Zero, ref verdict));
    Console.WriteLine("on its facts: " + verdict.Applies);
    Check(yox_tags_add(runtime, new[] { Marshal.StringToHGlobalAnsi("Ring"), Marshal.StringToHGlobalAnsi("beta") }, (N)1u, 1));
    using (var signal = new ManualResetEventSlim()) {
      Notified notified = (H context, ref Notification given) => { if (given.Topic == 41) { arrived = given.Event; signal.Set(); } };
      Check(yox_bus_subscribe(runtime, notified, H.Zero, 0, out subscription));
      Check(yox_bus_publish(runtime, 41, 7, Encoding.UTF8.GetBytes("{}\0"), H.Zero));
      if (signal.Wait(30000)) Console.WriteLine("notified: " + arrived);
      yox_bus_unsubscribe(subscription);
      GC.KeepAlive(notified);  // the library called it until here
    }
    yox_runtime_stop(runtime);
    pinned.Free();
    yox_list_free(list);
  }
}
