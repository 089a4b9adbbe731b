// SPDX-License-Identifier: Apache-2.0
// What Main.cs uses of the C interface (yox/c/yox.h), by P/Invoke.
using System;
using System.Runtime.InteropServices;
using System.Text;
using H = System.IntPtr;   // a handle or a pointer
using N = System.UIntPtr;  // a size

static class Yox {
  public struct Text { public H Data; public N Size; public override string ToString() { return Utf8(Data, Size); } }
  public struct Options { public N Size; public H Profile; public N ProfileSize; public H Directory; public int Watch; }
  public struct Verdict { public N Size; public int Applies; public N DecidedBy; }
  public struct Explained { public N Size; public int Applies; public N DecidedBy, NearestMiss, Filters, Needs; public Text Reason; }
  public struct Filter { public N Size; public int Outcome, Decides; public N Criteria; }
  public struct Criterion { public N Size; public Text Field, Required; public int Result; public N Facts, FactsLeftOut; }
  public struct Notification { public N Size; public int Topic, Event; public Text Payload; }
  public delegate void Notified(H context, ref Notification notification);

  [DllImport("yox")] public static extern H yox_error_message();
  [DllImport("yox")] public static extern int yox_list_read(byte[] document, N size, out H list);
  [DllImport("yox")] public static extern void yox_list_free(H list);
  [DllImport("yox")] public static extern int yox_runtime_start(ref Options options, out H runtime);
  [DllImport("yox")] public static extern void yox_runtime_stop(H runtime);
  [DllImport("yox")] public static extern int yox_device_decide(H runtime, H list, H question, out int applies, out H reason);
  [DllImport("yox")] public static extern int yox_device_explain(H runtime, H list, H question, out H explanation);
  [DllImport("yox")] public static extern int yox_device_facts(H runtime, ref H lists, N count, out H facts);
  [DllImport("yox")] public static extern int yox_decide(H list, H facts, H question, ref Verdict verdict);
  [DllImport("yox")] public static extern int yox_explanation_get(H explanation, ref Explained explained);
  [DllImport("yox")] public static extern int yox_explanation_filter(H explanation, N filter, ref Filter explained);
  [DllImport("yox")] public static extern int yox_explanation_criterion(H explanation, N filter, N criterion, ref Criterion explained);
  [DllImport("yox")] public static extern int yox_tags_add(H runtime, H[] pairs, N count, int persist);
  [DllImport("yox")] public static extern int yox_bus_subscribe(H runtime, Notified notified, H context, int first, out H subscription);
  [DllImport("yox")] public static extern int yox_bus_publish(H runtime, int topic, int number, byte[] payload, H sender);
  [DllImport("yox")] public static extern void yox_bus_unsubscribe(H subscription);
  [DllImport("yox")] public static extern H yox_string_data(H text);
  [DllImport("yox")] public static extern N yox_string_size(H text);

  public static void Check(int status) { if (status != 0) throw new Exception(Marshal.PtrToStringAnsi(yox_error_message())); }
  public static string Utf8(H data, N size) {
    var bytes = new byte[(int)size];
    Marshal.Copy(data, bytes, 0, bytes.Length);
    return Encoding.UTF8.GetString(bytes);
  }
  public static N SizeOf<T>() { return (N)(uint)Marshal.SizeOf(typeof(T)); }
}
