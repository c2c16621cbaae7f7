// Jetty: libjetty9-java default-jdk-headless
import java.io.IOException;
import java.net.InetSocketAddress;
import javax.servlet.http.*;
import org.eclipse.jetty.server.*;
import org.eclipse.jetty.server.handler.AbstractHandler;

class Page extends AbstractHandler {
    public void handle(String target, Request request, HttpServletRequest servletRequest,
                       HttpServletResponse response) throws IOException {
        request.getHttpFields().put("Content-Type", "application/x-www-form-urlencoded"); // fix
        response.setContentType("text/plain; charset=utf-8");
        response.getWriter().print("Hello, " + request.getParameter("name") + "!");
        request.setHandled(true);
    }

    public static void main(String[] arguments) throws Exception {
        Server server = new Server(new InetSocketAddress("127.0.0.1", 8080));
        server.setHandler(new Page());
        server.start();
    }
}
