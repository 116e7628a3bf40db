// Copyright 2026 The libkelp authors
// SPDX-License-Identifier: Apache-2.0

package org.libkelp;

import java.lang.annotation.Native;
import java.nio.ByteBuffer;
import java.nio.ByteOrder;

/**
 * Sizes and rates of the codec, and buffers that fit.
 *
 * <p>Speech is 16-bit linear PCM, mono, 8000 samples per second. A frame of 160 samples becomes one
 * packet of 4 to 35 bytes, whose first byte is its rate.
 */
public final class Kelp {
  /** Samples per second. */
  @Native public static final int SAMPLE_RATE_HZ = 8000;

  /** Samples of a frame: 20 ms. */
  @Native public static final int FRAME_SAMPLES = 160;

  /** Bytes of a frame. */
  @Native public static final int FRAME_BYTES = 2 * FRAME_SAMPLES;

  /** Decoded speech lags the input by so many samples, 7.5 ms. */
  @Native public static final int LOOKAHEAD_SAMPLES = 60;

  /** Bytes of the longest packet: the room that an encoder asks for. */
  @Native public static final int MAX_PACKET_BYTES = 35;

  /** First byte of a packet of silence or background noise. */
  @Native public static final int RATE_EIGHTH = 1;

  /** First byte of a packet that is decoded, but never made here. */
  @Native public static final int RATE_QUARTER = 2;

  /** First byte of a packet between speech and silence. */
  @Native public static final int RATE_HALF = 3;

  /** First byte of a packet of speech. */
  @Native public static final int RATE_FULL = 4;

  /** First byte, and all, of a packet that stands for a lost one; see {@link Decoder#conceal}. */
  @Native public static final int RATE_ERASURE = 14;

  private Kelp() {}

  /**
   * Bytes of a packet, its first byte included.
   *
   * @param rateByte the first byte of a packet
   * @return 4, 8, 17 or 35; 1 for an erasure; 0 when no packet begins with that byte
   */
  public static int packetBytes(byte rateByte) {
    switch (rateByte) {
      case RATE_EIGHTH: return 4;
      case RATE_QUARTER: return 8;
      case RATE_HALF: return 17;
      case RATE_FULL: return MAX_PACKET_BYTES;
      case RATE_ERASURE: return 1;
      default: return 0;
    }
  }

  /**
   * A buffer for one frame.
   *
   * @return {@link #FRAME_BYTES} bytes, direct, in native byte order
   */
  public static ByteBuffer newFrame() {
    return ByteBuffer.allocateDirect(FRAME_BYTES).order(ByteOrder.nativeOrder());
  }

  /**
   * A buffer for one packet.
   *
   * @return {@link #MAX_PACKET_BYTES} bytes, direct
   */
  public static ByteBuffer newPacket() {
    return ByteBuffer.allocateDirect(MAX_PACKET_BYTES);
  }
}
