// SPDX-License-Identifier: Apache-2.0
// Prints known-answers.tsv, computed by javax.crypto:  java KnownAnswers.java > known-answers.tsv
//
//   aes       key  iv  length  message (ciphertext and tag; of long ones "sha256:" and their digest)
//   hmac      key  length  digest
//   password  password (UTF-8)  salt (UTF-8)  iv  iterations  key bytes  key  verifier
//
// Bytes are hexadecimal; byte i of a content of some length is (7 i + i / 251) modulo 256.
import java.nio.ByteBuffer;
import java.nio.charset.StandardCharsets;
import java.security.MessageDigest;
import java.util.Arrays;
import java.util.HexFormat;
import javax.crypto.Cipher;
import javax.crypto.Mac;
import javax.crypto.SecretKeyFactory;
import javax.crypto.spec.GCMParameterSpec;
import javax.crypto.spec.PBEKeySpec;
import javax.crypto.spec.SecretKeySpec;

class KnownAnswers {
  static String hex(byte[] bytes) { return HexFormat.of().formatHex(bytes); }
  static byte[] utf8(String text) { return text.getBytes(StandardCharsets.UTF_8); }

  static byte[] sha256(byte[] bytes) throws Exception { return MessageDigest.getInstance("SHA-256").digest(bytes); }

  static byte[] content(int length) {
    byte[] bytes = new byte[length];
    for (int i = 0; i < length; ++i) bytes[i] = (byte) (7 * i + i / 251);
    return bytes;
  }

  static void aes(int length) throws Exception {
    byte[] key = sha256(utf8("key " + length));
    byte[] iv = Arrays.copyOf(sha256(utf8("iv " + length)), 16);
    Cipher cipher = Cipher.getInstance("AES/GCM/NoPadding");
    cipher.init(Cipher.ENCRYPT_MODE, new SecretKeySpec(key, "AES"), new GCMParameterSpec(128, iv));
    byte[] message = cipher.doFinal(content(length));
    String shown = length <= 64 ? hex(message) : "sha256:" + hex(sha256(message));
    System.out.println(String.join("\t", "aes", hex(key), hex(iv), "" + length, shown));
  }

  static byte[] mac(byte[] key, byte[] data) throws Exception {
    Mac mac = Mac.getInstance("HmacSHA256");
    mac.init(new SecretKeySpec(key, "HmacSHA256"));
    return mac.doFinal(data);
  }

  static void hmac(int keyLength, int length) throws Exception {
    byte[] key = content(keyLength);
    System.out.println(String.join("\t", "hmac", hex(key), "" + length, hex(mac(key, content(length)))));
  }

  // RFC 5869, 2.3
  static byte[] expand(byte[] root, String info, int length) throws Exception {
    ByteBuffer all = ByteBuffer.allocate(length + 32);
    byte[] last = new byte[0];
    for (int i = 1; all.position() < length; ++i) {
      byte[] tail = utf8(info + (char) i);
      byte[] data = Arrays.copyOf(last, last.length + tail.length);
      System.arraycopy(tail, 0, data, last.length, tail.length);
      last = mac(root, data);
      all.put(last);
    }
    return Arrays.copyOf(all.array(), length);
  }

  static void password(String password, String salt, int iterations, int keyBytes) throws Exception {
    byte[] iv = Arrays.copyOf(sha256(utf8("iv of " + salt)), 16);
    byte[] salted = Arrays.copyOf(utf8(salt), utf8(salt).length + 16);
    System.arraycopy(iv, 0, salted, salted.length - 16, 16);
    PBEKeySpec spec = new PBEKeySpec(password.toCharArray(), salted, iterations, 256);
    byte[] root = SecretKeyFactory.getInstance("PBKDF2WithHmacSHA256").generateSecret(spec).getEncoded();
    System.out.println(String.join("\t", "password", hex(utf8(password)), hex(utf8(salt)), hex(iv), "" + iterations,
        "" + keyBytes, hex(expand(root, "ztservices cipher data: key", keyBytes)),
        hex(expand(root, "ztservices cipher data: verifier", 32))));
  }

  public static void main(String[] arguments) throws Exception {
    for (int length : new int[] {0, 1, 15, 16, 17, 31, 32, 33, 64, 16383, 16384, 16385, 32768, 32773, 1000003}) aes(length);
    for (int keyLength : new int[] {1, 32, 63, 64, 65, 200})
      for (int length : new int[] {0, 1, 55, 64, 1000}) hmac(keyLength, length);
    password("correct horse battery staple", "00112233445566778899aabbccddeeff", 1, 32);
    password("p\u00e4ssw\u00f6rd \u20ac \uD83D\uDD11", "sal\u00e9", 1000, 32);
    password("a", "0123456789abcdef", 4096, 16);
    password("a long key is wanted", "x", 10, 100);
  }
}
