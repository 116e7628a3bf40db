// Copyright 2026 The libkelp authors
// SPDX-License-Identifier: Apache-2.0

package org.libkelp;

import java.io.Closeable;
import java.nio.ByteBuffer;

/**
 * Encodes one stream of speech, frame by frame. The rate of each packet is the encoder's choice;
 * the first one is always at full rate. A new stream wants a new encoder.
 *
 * <p>It holds memory outside the Java heap until it is closed: use try-with-resources, {@code use}
 * in Kotlin, or {@link #close}. Encoding allocates and copies nothing.
 *
 * <p>Any thread may call, one at a time: calls wait for each other, so that one that comes too late
 * finds the encoder closed. Different encoders do not wait for each other.
 */
public final class Encoder implements Closeable {
  private long handle = Native.createEncoder();

  /**
   * Makes an encoder at the start of its stream.
   *
   * @throws OutOfMemoryError when there is no memory for it
   */
  public Encoder() {}

  /**
   * Encodes one frame.
   *
   * @param pcm a direct buffer in native byte order with at least {@link Kelp#FRAME_BYTES} from its
   *     position to its limit. The position moves past the frame.
   * @param packet a direct, writable buffer with at least {@link Kelp#MAX_PACKET_BYTES} from its
   *     position to its limit, other memory than {@code pcm}. The position moves past the packet;
   *     what follows it of those bytes is cleared.
   * @return bytes of the packet: 4, 17 or 35
   * @throws IllegalArgumentException when a buffer is not as described; the message says what to do
   * @throws IllegalStateException when the encoder is closed
   */
  public synchronized int encode(ByteBuffer pcm, ByteBuffer packet) {
    if (handle == 0) {
      throw new IllegalStateException("the encoder is closed");
    }
    final int frameAt = Buffers.frame(pcm, false);
    final int packetAt = Buffers.positionOf("packet", packet, Kelp.MAX_PACKET_BYTES, true);
    final int bytes = Native.encode(handle, pcm, frameAt, packet, packetAt);
    pcm.position(frameAt + Kelp.FRAME_BYTES);
    packet.position(packetAt + bytes);
    return bytes;
  }

  /** Frees the encoder. Closing it again does nothing. */
  @Override
  public synchronized void close() {
    if (handle != 0) {
      Native.deleteEncoder(handle);
      handle = 0;
    }
  }
}
