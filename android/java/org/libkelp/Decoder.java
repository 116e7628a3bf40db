// Copyright 2026 The libkelp authors
// SPDX-License-Identifier: Apache-2.0

package org.libkelp;

import java.io.Closeable;
import java.nio.ByteBuffer;

/**
 * Decodes one stream of packets. Packets are decoded in the order they were made, and every lost
 * one is concealed in its place. A new stream wants a new decoder.
 *
 * <p>It holds memory outside the Java heap until it is closed: use try-with-resources, {@code use}
 * in Kotlin, or {@link #close}. Decoding allocates and copies nothing.
 *
 * <p>Any thread may call, one at a time: calls wait for each other, so that one that comes too late
 * finds the decoder closed. Different decoders do not wait for each other.
 */
public final class Decoder implements Closeable {
  private long handle = Native.createDecoder();

  /**
   * Makes a decoder at the start of its stream.
   *
   * @throws OutOfMemoryError when there is no memory for it
   */
  public Decoder() {}

  /**
   * Decodes one packet into one frame. Bytes of any kind are safe: a damaged packet is concealed,
   * or decoded from what there is of it, and an unknown rate byte gives silence.
   *
   * @param packet a direct buffer with the packet, and maybe more, from its position to its limit.
   *     The position moves past the packet: {@link Kelp#packetBytes} of its first byte, or as many
   *     as there are. An unknown rate byte counts as a packet of one byte.
   * @param pcm a direct, writable buffer in native byte order with at least {@link
   *     Kelp#FRAME_BYTES} from its position to its limit, other memory than {@code packet}. The
   *     position moves past the frame.
   * @return bytes of the packet
   * @throws IllegalArgumentException when a buffer is not as described; the message says what to do
   * @throws IllegalStateException when the decoder is closed
   */
  public synchronized int decode(ByteBuffer packet, ByteBuffer pcm) {
    requireOpen();
    final int packetAt = Buffers.positionOf("packet", packet, 1, false);
    final int frameAt = Buffers.frame(pcm, true);
    final int whole = Math.max(1, Kelp.packetBytes(packet.get(packetAt)));
    final int bytes = Math.min(whole, packet.limit() - packetAt);
    Native.decode(handle, packet, packetAt, bytes, pcm, frameAt);
    packet.position(packetAt + bytes);
    pcm.position(frameAt + Kelp.FRAME_BYTES);
    return bytes;
  }

  /**
   * Makes the frame of a lost packet: the last sound carried on, fading over successive losses.
   *
   * @param pcm as for {@link #decode}
   * @throws IllegalArgumentException as {@link #decode}
   * @throws IllegalStateException when the decoder is closed
   */
  public synchronized void conceal(ByteBuffer pcm) {
    requireOpen();
    final int frameAt = Buffers.frame(pcm, true);
    Native.conceal(handle, pcm, frameAt);
    pcm.position(frameAt + Kelp.FRAME_BYTES);
  }

  /** Frees the decoder. Closing it again does nothing. */
  @Override
  public synchronized void close() {
    if (handle != 0) {
      Native.deleteDecoder(handle);
      handle = 0;
    }
  }

  private void requireOpen() {
    if (handle == 0) {
      throw new IllegalStateException("the decoder is closed");
    }
  }
}
