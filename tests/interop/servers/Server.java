// SPDX-License-Identifier: Apache-2.0
import com.sun.net.httpserver.HttpExchange;
import com.sun.net.httpserver.HttpServer;
import com.sun.net.httpserver.HttpsConfigurator;
import com.sun.net.httpserver.HttpsParameters;
import com.sun.net.httpserver.HttpsServer;
import java.io.ByteArrayOutputStream;
import java.io.IOException;
import java.io.InputStream;
import java.io.OutputStream;
import java.net.InetSocketAddress;
import java.nio.file.Files;
import java.nio.file.Path;
import java.security.KeyFactory;
import java.security.KeyStore;
import java.security.PrivateKey;
import java.security.cert.Certificate;
import java.security.cert.CertificateFactory;
import java.security.spec.PKCS8EncodedKeySpec;
import java.util.Base64;
import java.util.concurrent.Executors;
import java.util.zip.GZIPOutputStream;
import javax.net.ssl.KeyManagerFactory;
import javax.net.ssl.SSLContext;
import javax.net.ssl.SSLParameters;
import javax.net.ssl.TrustManagerFactory;

/** The site on the server that comes with the JDK. */
public class Server {
    private static final String TAG = "\"one\"";
    private static final char[] PASSWORD = "changeit".toCharArray();
    private static Path directory;

    public static void main(String[] arguments) throws Exception {
        directory = Path.of(arguments[0]);
        start(HttpServer.create(), arguments[1]);
        startTls(arguments[2], false);
        startTls(arguments[3], true);
    }

    private static void start(HttpServer server, String port) throws IOException {
        server.bind(new InetSocketAddress("127.0.0.1", Integer.parseInt(port)), 0);
        server.createContext("/", Server::serve);
        server.setExecutor(Executors.newCachedThreadPool());
        server.start();
    }

    private static void startTls(String port, boolean mutual) throws Exception {
        SSLContext context = tlsContext();
        HttpsServer server = HttpsServer.create();
        server.setHttpsConfigurator(new HttpsConfigurator(context) {
            @Override
            public void configure(HttpsParameters parameters) {
                SSLParameters wanted = context.getDefaultSSLParameters();
                wanted.setNeedClientAuth(mutual);
                parameters.setSSLParameters(wanted);
            }
        });
        start(server, port);
    }

    private static SSLContext tlsContext() throws Exception {
        KeyStore own = KeyStore.getInstance("PKCS12");
        own.load(null, null);
        own.setKeyEntry("server", key("server.key"), PASSWORD, new Certificate[] {certificate("server.pem")});
        KeyManagerFactory keys = KeyManagerFactory.getInstance(KeyManagerFactory.getDefaultAlgorithm());
        keys.init(own, PASSWORD);
        KeyStore authorities = KeyStore.getInstance("PKCS12");
        authorities.load(null, null);
        authorities.setCertificateEntry("ca", certificate("ca.pem"));
        TrustManagerFactory trust = TrustManagerFactory.getInstance(TrustManagerFactory.getDefaultAlgorithm());
        trust.init(authorities);
        SSLContext context = SSLContext.getInstance("TLS");
        context.init(keys.getKeyManagers(), trust.getTrustManagers(), null);
        return context;
    }

    private static Certificate certificate(String file) throws Exception {
        try (InputStream in = Files.newInputStream(directory.resolve(file))) {
            return CertificateFactory.getInstance("X.509").generateCertificate(in);
        }
    }

    private static PrivateKey key(String file) throws Exception {
        String text = Files.readString(directory.resolve(file)).replaceAll("-----[A-Z ]*-----", "");
        byte[] bytes = Base64.getMimeDecoder().decode(text);
        return KeyFactory.getInstance("EC").generatePrivate(new PKCS8EncodedKeySpec(bytes));
    }

    private static void serve(HttpExchange exchange) throws IOException {
        String path = exchange.getRequestURI().getPath();
        String method = exchange.getRequestMethod();
        switch (path) {
            case "/method":
                exchange.getResponseHeaders().set("X-Method", method);
                answer(exchange, 200, method.getBytes());
                break;
            case "/echo":
                answer(exchange, 200, exchange.getRequestBody().readAllBytes());
                break;
            case "/empty":
                answer(exchange, 204, null);
                break;
            default:
                serveFile(exchange, path);
        }
    }

    private static void serveFile(HttpExchange exchange, String path) throws IOException {
        Path file = directory.resolve("site" + path);
        if (!Files.isRegularFile(file)) {
            answer(exchange, 404, "there is no such thing".getBytes());
            return;
        }
        exchange.getResponseHeaders().set("ETag", TAG);
        if (TAG.equals(exchange.getRequestHeaders().getFirst("If-None-Match"))) {
            answer(exchange, 304, null);
            return;
        }
        byte[] content = Files.readAllBytes(file);
        String coding = exchange.getRequestHeaders().getFirst("Accept-Encoding");
        if (path.equals("/text.txt") && coding != null && coding.contains("gzip")) {
            exchange.getResponseHeaders().set("Content-Encoding", "gzip");
            ByteArrayOutputStream packed = new ByteArrayOutputStream();
            try (GZIPOutputStream out = new GZIPOutputStream(packed)) {
                out.write(content);
            }
            content = packed.toByteArray();
        }
        if (path.equals("/closing.txt")) {
            exchange.getResponseHeaders().set("Connection", "close");
        }
        if (path.equals("/chunked.txt")) {
            exchange.sendResponseHeaders(200, 0); // 0: in chunks
            try (OutputStream out = exchange.getResponseBody()) {
                for (int begin = 0; begin < content.length; begin += 1000) {
                    out.write(content, begin, Math.min(1000, content.length - begin));
                    out.flush();
                }
            }
            return;
        }
        answer(exchange, 200, content);
    }

    private static void answer(HttpExchange exchange, int status, byte[] content) throws IOException {
        boolean head = exchange.getRequestMethod().equals("HEAD");
        if (head && content != null) {
            exchange.getResponseHeaders().set("Content-Length", String.valueOf(content.length));
        }
        boolean none = head || content == null || content.length == 0;
        exchange.sendResponseHeaders(status, none ? -1 : content.length);
        if (!none) {
            exchange.getResponseBody().write(content);
        }
        exchange.close();
    }
}
