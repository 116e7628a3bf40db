// Copyright 2026 The libkelp authors
// SPDX-License-Identifier: Apache-2.0

package org.libkelp;

import java.nio.ByteBuffer;
import java.nio.ByteOrder;

/** Refuses what native code could not use, or would use beyond its limit. */
final class Buffers {
  private Buffers() {}

  /** The position of a frame of samples. */
  static int frame(ByteBuffer pcm, boolean written) {
    final int position = positionOf("pcm", pcm, Kelp.FRAME_BYTES, written);
    if (pcm.order() != ByteOrder.nativeOrder()) {
      throw new IllegalArgumentException(
          "pcm is in another byte order than this processor's (every new buffer, slice and"
              + " duplicate starts as BIG_ENDIAN): call pcm.order(ByteOrder.nativeOrder()) before"
              + " filling it, or use Kelp.newFrame()");
    }
    return position;
  }

  /**
   * The position of a buffer that has at least so many bytes left. It is asked for once: another
   * thread that moves it meanwhile cannot send native code astray.
   */
  static int positionOf(String name, ByteBuffer buffer, int bytes, boolean written) {
    if (buffer == null) {
      throw new NullPointerException(name + " is null");
    }
    if (!buffer.isDirect()) {
      throw new IllegalArgumentException(
          name + " is not a direct buffer: make it with ByteBuffer.allocateDirect");
    }
    if (written && buffer.isReadOnly()) {
      throw new IllegalArgumentException(
          name + " is read-only: pass the buffer it is a view of, which can be written");
    }
    final int position = buffer.position();
    if (buffer.limit() - position < bytes) {
      throw new IllegalArgumentException(
          name + " has " + (buffer.limit() - position) + " bytes from its position to its limit and"
              + " needs " + bytes + ": call clear() or flip() on it, or make a larger one");
    }
    return position;
  }
}
