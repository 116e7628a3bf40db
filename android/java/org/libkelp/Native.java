// Copyright 2026 The libkelp authors
// SPDX-License-Identifier: Apache-2.0

package org.libkelp;

import java.nio.ByteBuffer;

/** What kelp_jni.c implements. It checks nothing that Buffers and the callers have checked. */
final class Native {
  static {
    System.loadLibrary("kelp_jni");
  }

  private Native() {}

  static native long createEncoder();

  static native int encode(
      long encoder, ByteBuffer pcm, int pcmPosition, ByteBuffer packet, int packetPosition);

  static native void deleteEncoder(long encoder);

  static native long createDecoder();

  static native void decode(
      long decoder,
      ByteBuffer packet,
      int packetPosition,
      int packetBytes,
      ByteBuffer pcm,
      int pcmPosition);

  static native void conceal(long decoder, ByteBuffer pcm, int pcmPosition);

  static native void deleteDecoder(long decoder);
}
