// Copyright 2026 The libkelp authors
// SPDX-License-Identifier: Apache-2.0

import static org.junit.Assert.assertArrayEquals;
import static org.junit.Assert.assertEquals;
import static org.junit.Assert.assertThrows;
import static org.junit.Assert.assertTrue;

import java.io.ByteArrayOutputStream;
import java.lang.management.ManagementFactory;
import java.nio.ByteBuffer;
import java.nio.ByteOrder;
import java.nio.charset.StandardCharsets;
import java.nio.file.Files;
import java.nio.file.Path;
import java.nio.file.Paths;
import java.util.ArrayList;
import java.util.Arrays;
import java.util.List;
import java.util.Random;
import java.util.Set;
import java.util.TreeSet;
import java.util.concurrent.atomic.AtomicReference;
import org.junit.Test;
import org.junit.function.ThrowingRunnable;
import org.libkelp.Decoder;
import org.libkelp.Encoder;
import org.libkelp.Kelp;

/** Drives the wrapper and its real native library as a host does. */
public class WrapperTest {
  private static ByteBuffer direct(int bytes) {
    return ByteBuffer.allocateDirect(bytes).order(ByteOrder.nativeOrder());
  }

  private static byte[] bytes(ByteBuffer buffer) {
    final byte[] copy = new byte[buffer.capacity()];
    final ByteBuffer all = buffer.duplicate();
    all.clear();
    all.get(copy);
    return copy;
  }

  /** Pulses over noise that swells and dies away: every rate that the encoder makes. */
  private static ByteBuffer signal(int frames) {
    final Random random = new Random(1);
    final ByteBuffer pcm = direct(frames * Kelp.FRAME_BYTES);
    for (int n = 0; pcm.hasRemaining(); n++) {
      final double swell = Math.pow(Math.max(0, Math.sin(n / 4000.0)), 3);
      final double pulse = n % 71 < 4 ? 9000 - 3000 * (n % 71) : 0;
      pcm.putShort((short) (swell * (pulse + 500 * random.nextGaussian())));
    }
    pcm.clear();
    return pcm;
  }

  @Test
  public void givesTheBitsOfTheCInterface() throws Exception {
    final int frames = 500;
    final ByteBuffer pcm = signal(frames);
    final ByteArrayOutputStream made = new ByteArrayOutputStream();
    final Set<Byte> rates = new TreeSet<>();
    final ByteBuffer packet = Kelp.newPacket();
    final ByteBuffer frame = Kelp.newFrame();
    try (Encoder encoder = new Encoder();
        Decoder decoder = new Decoder()) {
      for (int k = 1; k <= frames; k++) {
        packet.clear();
        frame.clear();
        final int length = encoder.encode(pcm, packet);
        assertEquals(length, packet.position());
        assertEquals(k * Kelp.FRAME_BYTES, pcm.position());
        packet.flip();
        assertEquals(length, Kelp.packetBytes(packet.get(0)));
        rates.add(packet.get(0));
        made.write(bytes(packet), 0, length);
        if (k % 7 == 0) {
          decoder.conceal(frame);
        } else {
          assertEquals(length, decoder.decode(packet, frame));
          assertEquals(length, packet.position());
        }
        assertEquals(0, frame.remaining());
        made.write(bytes(frame));
      }
    }
    assertEquals("[1, 3, 4]", rates.toString());

    final Path input = Files.createTempFile("kelp", ".raw");
    final Path output = Files.createTempFile("kelp", ".coded");
    try {
      Files.write(input, bytes(pcm));
      final ProcessBuilder program = new ProcessBuilder(System.getProperty("kelp.reference"));
      program.environment().remove("LD_PRELOAD"); // a sanitizer's, which the program has inside
      program.redirectInput(input.toFile()).redirectOutput(output.toFile());
      assertEquals(0, program.start().waitFor());
      assertArrayEquals(Files.readAllBytes(output), made.toByteArray());
    } finally {
      Files.delete(input);
      Files.delete(output);
    }
  }

  /** Positions are where work starts; nothing before them or behind what was asked for changes. */
  @Test
  public void keepsToPositionsAndLimits() {
    final ByteBuffer pcm = signal(2);
    final ByteBuffer packet = direct(100);
    final ByteBuffer frame = direct(500);
    for (ByteBuffer buffer : new ByteBuffer[] {packet, frame}) {
      while (buffer.hasRemaining()) {
        buffer.put((byte) 0x55);
      }
    }
    try (Encoder encoder = new Encoder();
        Decoder decoder = new Decoder()) {
      pcm.position(10).limit(10 + Kelp.FRAME_BYTES);
      packet.position(7).limit(7 + Kelp.MAX_PACKET_BYTES);
      assertEquals(35, encoder.encode(pcm, packet));
      assertEquals(pcm.limit(), pcm.position());
      packet.position(7);
      frame.position(50).limit(50 + Kelp.FRAME_BYTES);
      assertEquals(35, decoder.decode(packet.asReadOnlyBuffer(), frame));
    }
    packet.clear();
    frame.clear();
    for (int k = 0; k < packet.capacity(); k++) {
      assertTrue(k >= 7 && k < 42 || packet.get(k) == 0x55);
    }
    for (int k = 0; k < frame.capacity(); k++) {
      assertTrue(k >= 50 && k < 370 || frame.get(k) == 0x55);
    }
  }

  @Test
  public void takesPacketsOfAnyContent() {
    final Random random = new Random(2);
    try (Decoder decoder = new Decoder()) {
      for (int k = 0; k < 20000; k++) {
        final byte[] content = new byte[1 + random.nextInt(40)];
        random.nextBytes(content);
        content[0] = (byte) (k % 2 == 0 ? random.nextInt(6) : content[0]);
        // Allocated to the byte: sanitizers see what is read behind it.
        final ByteBuffer packet = direct(content.length).put(content);
        packet.flip();
        final int whole = Math.max(1, Kelp.packetBytes(content[0]));
        final ByteBuffer frame = Kelp.newFrame();
        assertEquals(Math.min(whole, content.length), decoder.decode(packet, frame));
        assertEquals(0, frame.remaining());
      }
    }
  }

  private static void refused(String remedy, ThrowingRunnable call) {
    final String message = assertThrows(IllegalArgumentException.class, call).getMessage();
    assertTrue(message, message.contains(remedy));
  }

  @Test
  public void refusesBuffersItCannotUse() {
    final ByteBuffer pcm = direct(400);
    final ByteBuffer packet = direct(50);
    final ByteBuffer heap = ByteBuffer.allocate(400).order(ByteOrder.nativeOrder());
    final ByteBuffer readOnly = pcm.asReadOnlyBuffer().order(ByteOrder.nativeOrder());
    final ByteBuffer foreign = ByteBuffer.allocateDirect(400);
    final ByteBuffer small = direct(Kelp.FRAME_BYTES - 1);
    final ByteBuffer late = direct(400);
    late.position(100);
    final ByteBuffer odd = direct(400);
    odd.position(1);
    final ByteBuffer oddSlice = odd.slice().order(ByteOrder.nativeOrder());
    final ByteBuffer empty = direct(50);
    empty.limit(0);
    try (Encoder encoder = new Encoder();
        Decoder decoder = new Decoder()) {
      for (ByteBuffer wrong : new ByteBuffer[] {heap, foreign, small, late, odd, oddSlice}) {
        final String remedy =
            wrong == heap ? "pcm is not a direct buffer: make it with ByteBuffer.allocateDirect"
            : wrong == foreign ? "pcm.order(ByteOrder.nativeOrder())"
            : wrong == small ? "pcm has 319 bytes from its position to its limit and needs 320"
            : wrong == late ? "pcm has 300 bytes from its position to its limit and needs 320"
            : "odd address";
        refused(remedy, () -> encoder.encode(wrong, packet));
        refused(remedy, () -> decoder.decode(packet, wrong));
        refused(remedy, () -> decoder.conceal(wrong));
      }
      refused("pcm is read-only", () -> decoder.decode(packet, readOnly));
      refused("pcm is read-only", () -> decoder.conceal(readOnly));
      encoder.encode(readOnly, packet);
      packet.clear();
      refused("packet is read-only", () -> encoder.encode(pcm, packet.asReadOnlyBuffer()));
      refused("packet is not a direct", () -> encoder.encode(pcm, heap));
      refused("packet is not a direct", () -> decoder.decode(heap, pcm));
      refused("packet has 34 bytes", () -> encoder.encode(pcm, direct(34)));
      refused("packet has 0 bytes", () -> decoder.decode(empty, pcm));
      assertThrows(NullPointerException.class, () -> encoder.encode(null, packet));
      assertThrows(NullPointerException.class, () -> encoder.encode(pcm, null));
      assertThrows(NullPointerException.class, () -> decoder.decode(null, pcm));
      assertThrows(NullPointerException.class, () -> decoder.conceal(null));
      assertEquals("a refusal moves nothing", 0, pcm.position() + packet.position());
    }
  }

  /** A thread that uses a codec until it is refused, and keeps what else is thrown. */
  private static Thread user(Runnable call, AtomicReference<Throwable> wrong) {
    final Thread thread =
        new Thread(
            () -> {
              try {
                while (true) {
                  call.run();
                }
              } catch (Throwable thrown) {
                final boolean refused = thrown instanceof IllegalStateException;
                if (!refused || !thrown.getMessage().endsWith("coder is closed")) {
                  wrong.set(thrown);
                }
              }
            });
    thread.start();
    return thread;
  }

  /** Threads use a codec and another closes it in their midst: exceptions, and nothing worse. */
  @Test
  public void refusesUseAfterClose() throws Exception {
    for (int turn = 0; turn < 50; turn++) {
      final Encoder encoder = new Encoder();
      final Decoder decoder = new Decoder();
      final AtomicReference<Throwable> wrong = new AtomicReference<>();
      final List<Thread> users = new ArrayList<>();
      for (int k = 0; k < 2; k++) {
        final ByteBuffer packet = Kelp.newPacket();
        final ByteBuffer sent = Kelp.newFrame();
        final ByteBuffer heard = Kelp.newFrame();
        users.add(
            user(() -> encoder.encode(sent.clear(), packet.clear()), wrong));
        users.add(user(() -> decoder.conceal(heard.clear()), wrong));
      }
      Thread.sleep(1);
      for (int k = 0; k < 2; k++) {
        encoder.close();
        decoder.close();
      }
      for (Thread user : users) {
        user.join();
      }
      assertEquals(null, wrong.get());
    }
  }

  /** From the operating system: the virtual machine does not count what native code takes. */
  private static long residentBytes() throws Exception {
    final byte[] content = Files.readAllBytes(Paths.get("/proc/self/statm"));
    return 4096 * Long.parseLong(new String(content, StandardCharsets.US_ASCII).split(" ")[1]);
  }

  @Test
  public void givesBackItsMemory() throws Exception {
    long before = 0;
    for (int k = 0; k < 60000; k++) {
      if (k == 10000) {
        before = residentBytes();
      }
      new Encoder().close();
      new Decoder().close();
    }
    // The smallest block of all, leaked 50,000 times, is more than 50 MB.
    final long grown = residentBytes() - before;
    assertTrue(grown + " bytes more", grown < 20_000_000);
  }

  @Test
  public void allocatesNothingPerFrame() {
    final com.sun.management.ThreadMXBean threads =
        (com.sun.management.ThreadMXBean) ManagementFactory.getThreadMXBean();
    final long self = Thread.currentThread().getId();
    final ByteBuffer pcm = signal(1);
    final ByteBuffer packet = Kelp.newPacket();
    final long[] allocated = new long[3];
    try (Encoder encoder = new Encoder();
        Decoder decoder = new Decoder()) {
      for (int turn = 0; turn < allocated.length; turn++) {
        final long before = threads.getThreadAllocatedBytes(self);
        for (int k = 0; k < 1000; k++) {
          pcm.clear();
          packet.clear();
          encoder.encode(pcm, packet);
          pcm.clear();
          packet.flip();
          decoder.decode(packet, pcm);
          pcm.clear();
          decoder.conceal(pcm);
        }
        allocated[turn] = threads.getThreadAllocatedBytes(self) - before;
      }
    }
    assertTrue(Arrays.toString(allocated), Arrays.stream(allocated).min().getAsLong() < 1000);
  }
}
